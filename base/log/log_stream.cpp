#include "base/log/log_stream.h"

#include <array>
#include <charconv>
#include <exception>

namespace zo_base {
namespace {

// Most lines fit, so that a line costs one allocation.
constexpr size_t kUsualLineBytes = 256;
// A stream's default: six significant digits without trailing zeros.
constexpr int kFloatDigits = 6;
// The longest number: a sign, six digits, a point and an exponent, or 20 digits of an integer.
constexpr size_t kNumberBytes = 40;

template <typename... Args>
std::string_view Print(std::array<char, kNumberBytes>& out, Args... args) {
  const auto end = std::to_chars(out.data(), out.data() + out.size(), args...).ptr;
  return {out.data(), static_cast<size_t>(end - out.data())};
}

}  // namespace

LogStream::LogStream() {
  try {
    text_.reserve(kUsualLineBytes);
  } catch (const std::exception&) {
    // No memory yet; later operands may still find some.
    return;
  }
}

void LogStream::Append(std::string_view text) noexcept {
  try {
    text_.append(text);
  } catch (const std::exception&) {
    // No memory, or the text is too long: the line continues without this operand.
    return;
  }
}

void LogStream::AppendText(const char* text) noexcept {
  if (text == nullptr) {
    Append("null ptr !");
  } else if (*text == '\0') {
    Append("empty string !");
  } else {
    Append(text);
  }
}

void LogStream::AppendSigned(long long value) noexcept {
  std::array<char, kNumberBytes> out;
  Append(Print(out, value));
}

void LogStream::AppendUnsigned(unsigned long long value) noexcept {
  std::array<char, kNumberBytes> out;
  Append(Print(out, value));
}

void LogStream::AppendDouble(double value) noexcept {
  std::array<char, kNumberBytes> out;
  Append(Print(out, value, std::chars_format::general, kFloatDigits));
}

void LogStream::AppendLongDouble(long double value) noexcept {
  std::array<char, kNumberBytes> out;
  Append(Print(out, value, std::chars_format::general, kFloatDigits));
}

}  // namespace zo_base
