#pragma once

#include <cstdint>
#include <string>

#include "base/thread/clock.h"

// Returns a time such as "45 s", "12 min", "3 h 12 min" or "2 d 3 h". A clock that was set
// back makes a negative one, such as "-5 min".
inline std::string DurationWords(int64_t ms) {
  constexpr int64_t kMinute = 60;
  constexpr int64_t kHour = 60 * kMinute;
  constexpr int64_t kDay = 24 * kHour;
  const int64_t seconds = ms / zo_base::kMsPerSecond;
  if (seconds < 0) {
    return "-" + DurationWords(-seconds * zo_base::kMsPerSecond);
  }
  const auto part = [](int64_t count, const char* unit) { return std::to_string(count) + unit; };
  if (seconds < kMinute) {
    return part(seconds, " s");
  }
  if (seconds < kHour) {
    return part(seconds / kMinute, " min");
  }
  if (seconds < kDay) {
    return part(seconds / kHour, " h ") + part(seconds % kHour / kMinute, " min");
  }
  return part(seconds / kDay, " d ") + part(seconds % kDay / kHour, " h");
}
