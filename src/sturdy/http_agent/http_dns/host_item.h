#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zo_sturdy {

struct HostEntry;

// One host of http_dns_cache.data. A plain value; the functions below keep no state.
struct HostItem {
  int32_t ttl_ms = 0;
  std::optional<int64_t> expired_ms;  // since the epoch; not served from here on
  std::vector<std::string> ipv4;
  std::vector<std::string> ipv6;
};

// Reads the text of a host. A value of another type reads as an empty one.
HostItem ReadHostItem(const std::string& text);

std::string HostItemText(const HostEntry& entry);

}  // namespace zo_sturdy
