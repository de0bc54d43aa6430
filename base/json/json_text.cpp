#include "base/json/json_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <system_error>

namespace zo_base::json11 {
namespace {

// U+2028 and U+2029 in UTF-8: this lead, the middle byte and one of the two last bytes.
constexpr char kSeparatorLead = '\xe2';
constexpr char kSeparatorMiddle = '\x80';
constexpr char kLineSeparatorEnd = '\xa8';
constexpr char kParagraphSeparatorEnd = '\xa9';

// Bytes that need no escape. The separators' lead needs a look at the bytes after it.
constexpr std::array<bool, 256> kPlainBytes = [] {
  std::array<bool, 256> plain{};
  for (size_t byte = 0; byte < plain.size(); ++byte) {
    plain[byte] = byte >= 0x20 && byte != '"' && byte != '\\' &&
                  byte != static_cast<unsigned char>(kSeparatorLead);
  }
  return plain;
}();

void AppendEscapedControl(std::string& out, char byte) {
  switch (byte) {
    case '\b':
      out += "\\b";
      return;
    case '\f':
      out += "\\f";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\t':
      out += "\\t";
      return;
    default:
      out += byte < 0x10 ? "\\u000" : "\\u001";
      out += "0123456789abcdef"[byte & 0xf];
  }
}

// Returns infinity or zero for a number that a double can't hold. from_chars reports overflow and
// underflow alike; the power of ten of the first non-zero digit tells which it was.
double OutOfRangeValue(const char* first, const char* last) {
  constexpr int64_t kFarExponent = int64_t{1} << 40;  // past any number of digits in memory
  const bool negative = *first == '-';
  // Find the power of ten of the digits before the exponent: the number is below 10 to `place`.
  int64_t place = 0;
  bool in_fraction = false;
  bool leading = true;
  const char* p = negative ? first + 1 : first;
  for (; p != last && *p != 'e' && *p != 'E'; ++p) {
    if (*p == '.') {
      in_fraction = true;
      continue;
    }
    leading = leading && *p == '0';
    if (leading) {
      place -= in_fraction ? 1 : 0;
    } else {
      place += in_fraction ? 0 : 1;
    }
  }
  // Read the exponent.
  int64_t exponent = 0;
  bool exponent_negative = false;
  for (p = std::min(p + 1, last); p < last; ++p) {
    if (*p == '-' || *p == '+') {
      exponent_negative = *p == '-';
    } else {
      exponent = std::min(exponent * 10 + (*p - '0'), kFarExponent);
    }
  }
  place += exponent_negative ? -exponent : exponent;
  const double magnitude = place > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  return negative ? -magnitude : magnitude;
}

}  // namespace

void AppendQuoted(std::string& out, const std::string& text) {
  out += '"';
  const char* const end = text.data() + text.size();
  const char* run = text.data();
  for (const char* p = run; p != end;) {
    if (kPlainBytes[static_cast<unsigned char>(*p)]) {
      ++p;
      continue;
    }
    // Append the plain bytes before this one, and then its escape.
    const char* const odd = p++;
    if (*odd == kSeparatorLead) {
      if (end - odd < 3 || odd[1] != kSeparatorMiddle ||
          (odd[2] != kLineSeparatorEnd && odd[2] != kParagraphSeparatorEnd)) {
        continue;
      }
      out.append(run, odd);
      out += odd[2] == kLineSeparatorEnd ? "\\u2028" : "\\u2029";
      p = odd + 3;
    } else {
      out.append(run, odd);
      if (*odd == '"' || *odd == '\\') {
        out += '\\';
        out += *odd;
      } else {
        AppendEscapedControl(out, *odd);
      }
    }
    run = p;
  }
  out.append(run, end);
  out += '"';
}

void AppendInteger(std::string& out, long long value) {
  std::array<char, 24> digits;
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  static_cast<void>(error);  // every value fits
  out.append(digits.data(), end);
}

void AppendDouble(std::string& out, double value) {
  constexpr double kWholeLimit = 9007199254740992.0;  // 2^53: 16 digits, so no exponent either
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  if (std::fabs(value) < kWholeLimit && value == std::trunc(value) &&
      (value != 0 || !std::signbit(value))) {
    AppendInteger(out, static_cast<long long>(value));
    return;
  }
  std::array<char, 32> digits;
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                          std::chars_format::general, 17);
  static_cast<void>(error);  // the longest text has 24 bytes
  out.append(digits.data(), end);
}

double DecimalToDouble(const char* first, const char* last) {
  double value = 0;
  const auto [end, error] = std::from_chars(first, last, value);
  static_cast<void>(end);
  return error == std::errc::result_out_of_range ? OutOfRangeValue(first, last) : value;
}

void AppendUtf8(std::string& out, int32_t point) {
  const auto continuation = [point](int shift) {
    return static_cast<char>(0x80 | ((point >> shift) & 0x3F));
  };
  if (point < 0) {
    return;
  }
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += {static_cast<char>(0xC0 | (point >> 6)), continuation(0)};
  } else if (point < 0x10000) {
    out += {static_cast<char>(0xE0 | (point >> 12)), continuation(6), continuation(0)};
  } else {
    out += {static_cast<char>(0xF0 | (point >> 18)), continuation(12), continuation(6),
            continuation(0)};
  }
}

std::string DescribeCharacter(char c) {
  const auto byte = static_cast<signed char>(c);
  char text[12];
  if (byte < 32) {
    std::snprintf(text, sizeof(text), "(%d)", byte);
  } else {
    std::snprintf(text, sizeof(text), "'%c' (%d)", byte, byte);
  }
  return text;
}

}  // namespace zo_base::json11
