#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/json/json.h"

namespace zo_sturdy {

// The keys that the service's answers and the cache files share.
namespace dns_key {
inline constexpr char kHost[] = "host";
inline constexpr char kIPv4[] = "ipv4";
inline constexpr char kIPv6[] = "ipv6";
inline constexpr char kTtl[] = "ttl";
}  // namespace dns_key

// The lifetime of an answer that doesn't state one.
inline constexpr int32_t kUnstatedTtlMs = 3600000;

// Returns the strings of a JSON array. Skips elements of other types.
inline std::vector<std::string> TextsOf(const zo_base::json11::Json& array) {
  std::vector<std::string> texts;
  for (const zo_base::json11::Json& element : array.array_items()) {
    if (element.type() == zo_base::json11::Json::STRING) {
      texts.push_back(element.string_value());
    }
  }
  return texts;
}

}  // namespace zo_sturdy
