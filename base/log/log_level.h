#pragma once

#include <cstdint>
#include <string_view>

namespace zo_base {

// A smaller value is more severe.
enum LogLevel : int32_t {
  LV_KER = 0,
  LV_ASS = 1,
  LV_ERR = 2,
  LV_WAR = 3,
  LV_INT = 4,  // lines of this level and less severe ones have no source location
  LV_APP = 5,  // most messages
  LV_PRO = 6,  // detail, such as the trace of a request
};

// Returns the name as a line shows it; empty for a value without a name.
std::string_view LogLevelName(int level);

}  // namespace zo_base
