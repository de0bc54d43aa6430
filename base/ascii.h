#pragma once

#include <algorithm>
#include <string_view>

// Classifies and compares ASCII characters, in any locale.
// Threads: any. Errors: none.
namespace zo_base {

constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

constexpr char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

}  // namespace zo_base
