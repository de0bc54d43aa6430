#pragma once

namespace bench {

inline constexpr double kNsPerSecond = 1e9;

}  // namespace bench
