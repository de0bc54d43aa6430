#include "base/log/log_level.h"

#include <array>

namespace zo_base {

std::string_view LogLevelName(int level) {
  constexpr std::array<std::string_view, LV_PRO + 1> kNames = {
      "LV_KER", "LV_ASS", "LV_ERR", "LV_WAR", "LV_INT", "LV_APP", "LV_PRO"};
  return level >= LV_KER && level <= LV_PRO ? kNames[static_cast<size_t>(level)]
                                            : std::string_view();
}

}  // namespace zo_base
