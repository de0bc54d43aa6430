#include "tools/history/calendar.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/thread/clock.h"
#include "tools/history/history.h"

namespace history {

namespace {

constexpr int64_t kDayMs = 86400 * zo_base::kMsPerSecond;
// Each year has a 29 February, so that every text has a place.
constexpr int64_t kYearMs = 366 * kDayMs;
constexpr std::array<int, 13> kMonthBegins = {0,   31,  60,  91,  121, 152, 182,
                                              213, 244, 274, 305, 335, 366};

int64_t Number(std::string_view text, size_t at, size_t digits) {
  int64_t number = 0;
  for (const char c : text.substr(at, digits)) {
    number = number * 10 + (c - '0');
  }
  return number;
}

}  // namespace

int64_t Calendar::ToMs(std::string_view text) {
  const auto month = static_cast<size_t>(std::clamp<int64_t>(Number(text, 0, 2), 1, 12));
  const int64_t day = kMonthBegins.at(month - 1) + Number(text, 3, 2) - 1;
  const int64_t minute = (day * 24 + Number(text, 6, 2)) * 60 + Number(text, 9, 2);
  const int64_t in_year =
      (minute * 60 + Number(text, 12, 2)) * zo_base::kMsPerSecond + Number(text, 15, 3);
  // A step back by more than half a year is New Year. A shorter one is a clock that was set.
  if (year_begin_ms_ + in_year + kYearMs / 2 < last_ms_) {
    year_begin_ms_ += kYearMs;
  }
  // A thread can write a line of the old year after another thread's first of the new one.
  if (year_begin_ms_ > 0 && year_begin_ms_ + in_year > last_ms_ + kYearMs - kDayMs) {
    return year_begin_ms_ - kYearMs + in_year;
  }
  last_ms_ = year_begin_ms_ + in_year;
  return last_ms_;
}

std::string TimeText(int64_t at_ms) {
  const int64_t in_year = ((at_ms % kYearMs) + kYearMs) % kYearMs;
  const auto day = static_cast<int>(in_year / kDayMs);
  const auto next = std::upper_bound(kMonthBegins.begin(), kMonthBegins.end() - 1, day);
  const auto month = static_cast<int>(next - kMonthBegins.begin());
  const auto seconds = static_cast<int>(in_year % kDayMs / zo_base::kMsPerSecond);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%02d-%02d %02d:%02d:%02d.%03d", month,
                day - *(next - 1) + 1, seconds / 3600, seconds / 60 % 60, seconds % 60,
                static_cast<int>(in_year % zo_base::kMsPerSecond));
  return text.data();
}

}  // namespace history
