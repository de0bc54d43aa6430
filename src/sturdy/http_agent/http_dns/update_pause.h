#pragma once

#include <algorithm>
#include <cstdint>

namespace zo_sturdy {

// Counts a failed update of the HTTP DNS service, up to the count with the longest pause. Returns
// the pause in ms: a minute for each failure in a row, five at most.
inline int64_t PauseAfterFailure(int32_t& failures) {
  constexpr int32_t kLongestPause = 5;
  constexpr int64_t kMinuteMs = 60000;
  failures = std::min(failures + 1, kLongestPause);
  return failures * kMinuteMs;
}

}  // namespace zo_sturdy
