#pragma once

#include <string>
#include <string_view>
#include <type_traits>

namespace zo_base {

// Numbers that a stream prints as such, and the narrow characters; enumerations without a class go
// as their number.
template <typename T>
concept LogNumber = (std::is_arithmetic_v<T> && !std::is_same_v<T, bool> &&
                     !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char8_t> &&
                     !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>) ||
                    (std::is_enum_v<T> && std::is_convertible_v<T, long long>);

// The text of one log line as it grows. It prints each operand as a std::stringstream with the
// classic locale would, without that class's price: a locale, a buffer and a lock per line.
// Threads: one.
// Owner:   the log statement.
// Errors:  none; text that finds no memory is left out.
class LogStream {
 public:
  LogStream();

  void Append(std::string_view text) noexcept;
  void AppendBool(bool value) noexcept { Append(value ? "true" : "false"); }
  // Null and empty leave a trace of themselves, so that a reader sees what was passed.
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
