#pragma once

#include <string>
#include <string_view>
#include <type_traits>

namespace zo_base {

// Numbers that a std::ostream prints as numbers, narrow characters, and unscoped enumerations,
// which print as their number.
template <typename T>
concept LogNumber = (std::is_arithmetic_v<T> && !std::is_same_v<T, bool> &&
                     !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char8_t> &&
                     !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>) ||
                    (std::is_enum_v<T> && std::is_convertible_v<T, long long>);

// Builds the text of one log line. Prints each operand as a std::stringstream with the classic
// locale does, but without that class's locale, buffer and lock per line.
// Threads: one.
// Owner:   the log statement.
// Errors:  none; text for which there is no memory is left out.
class LogStream {
 public:
  LogStream();

  void Append(std::string_view text) noexcept;
  void AppendBool(bool value) noexcept { Append(value ? "true" : "false"); }
  // Replaces null and empty texts by a note, so that a reader sees what was passed.
  void AppendText(const char* text) noexcept;

  template <LogNumber T>
  void AppendNumber(T value) noexcept {
    if constexpr (std::is_enum_v<T>) {
      AppendNumber(+value);
    } else if constexpr (std::is_same_v<T, char> || std::is_same_v<T, signed char> ||
                         std::is_same_v<T, unsigned char>) {
      const char character = static_cast<char>(value);
      Append({&character, 1});
    } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
      AppendSigned(value);
    } else if constexpr (std::is_integral_v<T>) {
      AppendUnsigned(value);
    } else if constexpr (std::is_same_v<T, long double>) {
      AppendLongDouble(value);
    } else {
      AppendDouble(value);
    }
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  void AppendSigned(long long value) noexcept;
  void AppendUnsigned(unsigned long long value) noexcept;
  void AppendDouble(double value) noexcept;
  void AppendLongDouble(long double value) noexcept;

  std::string text_;
};

}  // namespace zo_base
