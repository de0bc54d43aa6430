#pragma once

#include <cstdint>
#include <ctime>

namespace zo_base {

// Broken-down local time of seconds since the epoch; all zero where the calendar ends. The time
// zone is the one that the process had at its first look.
// Threads: any.
std::tm LocalTime(int64_t seconds);

}  // namespace zo_base
