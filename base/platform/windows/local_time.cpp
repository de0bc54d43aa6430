#include "base/platform/local_time.h"

namespace zo_base {

std::tm LocalTime(int64_t seconds) {
  const auto time = static_cast<time_t>(seconds);
  std::tm parts{};
  return localtime_s(&parts, &time) == 0 ? parts : std::tm{};
}

}  // namespace zo_base
