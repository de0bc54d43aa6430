#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "base/thread/clock.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {

// How HTTP DNS reads JSON: the service's answers and its two cache files. Nothing here fails: a
// value of another type reads as an empty one.

// The keys that answers and files share.
namespace dns_key {
inline constexpr char kHost[] = "host";
inline constexpr char kIPv4[] = "ipv4";
inline constexpr char kIPv6[] = "ipv6";
inline constexpr char kTtl[] = "ttl";
}  // namespace dns_key

// Returns null for a text that isn't JSON.
inline zo_base::json11::Json ParseJson(const std::string& text) {
  std::string error;
  return zo_base::json11::Json::parse(text, error);
}

// Returns the lifetime that an answer states in seconds; an hour unless it states a number. A
// lifetime of 0 is asked for again at once, so nothing else must read as one.
template <class Whole>
Whole TtlMs(const zo_base::json11::Json& answer) {
  constexpr Whole kUnstatedMs = 3600000;
  using zo_base::json11::Json;
  const Json& ttl = answer[dns_key::kTtl];
  return ttl.type() == Json::NUMBER
             ? SaturatingWhole<Whole>(ttl.number_value() * zo_base::kMsPerSecond)
             : kUnstatedMs;
}

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
