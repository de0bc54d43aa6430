#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace zo_base {

// The place of a log statement. Built on the stack, once per statement; the texts are literals.
struct SourceLocation {
  std::string_view file;  // base name
  int32_t line = -1;
  std::string_view function;
};

// Returns where the base name begins in a path: after its last slash or backslash.
constexpr size_t BaseNameOffset(const char* path) {
  size_t offset = 0;
  for (size_t i = 0; path[i] != '\0'; ++i) {
    if (path[i] == '/' || path[i] == '\\') {
      offset = i + 1;
    }
  }
  return offset;
}

}  // namespace zo_base

// The compiler computes the offset, so that a statement pays nothing for it.
#define ZO_SOURCE_LOCATION()                                                           \
  (::zo_base::SourceLocation{                                                          \
      &__FILE__[::std::integral_constant<::std::size_t,                                \
                                         ::zo_base::BaseNameOffset(__FILE__)>::value], \
      __LINE__, static_cast<const char*>(__PRETTY_FUNCTION__)})
