#pragma once

#include <cstdint>
#include <ctime>

namespace zo_base {

// Returns the broken-down local time of seconds since the epoch; all zero beyond the calendar's
// end. Keeps the time zone that the process had at the first call. Threads: any.
std::tm LocalTime(int64_t seconds);

}  // namespace zo_base
