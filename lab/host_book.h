#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

// What an HTTP DNS service knows about one name. Its answer has only the members that are set.
struct HostRecord {
  std::optional<std::vector<std::string>> ip = {};
  std::optional<std::vector<std::string>> ipv6 = {};
  std::optional<int64_t> ttl_s = {};
};

// Everything that an HTTP DNS service knows. A plain value.
struct HostBook {
  std::map<std::string, HostRecord> hosts = {};
  int code = 200;

  // Returns the service's answer to the query "domain=one,two": the names that the book has, in the
  // order of the query.
  std::string AnswerTo(std::string_view query) const;
};

}  // namespace lab
