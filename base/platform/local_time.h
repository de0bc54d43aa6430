#pragma once

#include <cstdint>
#include <ctime>

namespace zo_base {

// Returns the broken-down local time of seconds since the epoch; all zero beyond the calendar's
// end. Reads the process's time zone at its first call at most; a later `tzset`, `localtime` or
// `mktime` of the client reads it again for all. Threads: any.
std::tm LocalTime(int64_t seconds);

}  // namespace zo_base
