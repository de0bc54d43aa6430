#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

// What an HTTP DNS service knows of one name; only what is set stands in its answer.
struct HostRecord {
  std::optional<std::vector<std::string>> ip = {};
  std::optional<std::vector<std::string>> ipv6 = {};
  std::optional<int64_t> ttl_s = {};
};

// All that an HTTP DNS service knows. A plain value.
struct HostBook {
  std::map<std::string, HostRecord> hosts = {};
  int code = 200;

  // The service's answer to "domain=one,two": those of the names that the book has, in the order
  // in which they are asked for.
  std::string AnswerTo(std::string_view query) const;
};

}  // namespace lab
