#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

// Arithmetic on the times of servers and files. A result that doesn't fit becomes the nearest one
// that does.
namespace zo_sturdy {

inline int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) {
    return b < 0 ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
  }
  return sum;
}

inline int64_t SaturatingSubtract(int64_t a, int64_t b) {
  int64_t difference = 0;
  if (__builtin_sub_overflow(a, b, &difference)) {
    return b < 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
  }
  return difference;
}

// Cuts towards zero. NaN becomes 0.
template <class Whole>
Whole SaturatingWhole(double number) {
  static_assert(std::is_integral_v<Whole> && std::is_signed_v<Whole>);
  // The smallest value is a power of two, so both bounds are exact as doubles.
  constexpr double kLeast = static_cast<double>(std::numeric_limits<Whole>::min());
  if (number >= -kLeast) {
    return std::numeric_limits<Whole>::max();
  }
  if (number <= kLeast) {
    return std::numeric_limits<Whole>::min();
  }
  return std::isnan(number) ? 0 : static_cast<Whole>(number);
}

}  // namespace zo_sturdy
