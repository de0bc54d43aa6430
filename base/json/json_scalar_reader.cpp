#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "base/json/json_reader.h"
#include "base/json/json_text.h"
#include "base/json/json_value.h"

// The numbers and strings of JsonReader.
namespace zo_base::json11 {
namespace {

constexpr ptrdiff_t kMaxInteger = 9;       // characters of the longest number that stays an integer
constexpr ptrdiff_t kMaxExactDigits = 18;  // decimal digits that any 64-bit integer can take

// Bytes of a string that mean themselves. NUL doesn't, so that a scan stops at the end of the input
// without another test.
constexpr std::array<bool, 256> kPlainBytes = [] {
  std::array<bool, 256> plain{};
  for (size_t byte = 0x20; byte < plain.size(); ++byte) {
    plain[byte] = byte != '"' && byte != '\\';
  }
  return plain;
}();

// Returns the first byte from `p` on that isn't plain.
const char* SkipPlain(const char* p) {
  while (kPlainBytes[static_cast<unsigned char>(*p)]) {
    ++p;
  }
  return p;
}

bool IsHighSurrogate(int32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(int32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Returns the value of a hexadecimal digit, or -1.
int32_t HexValue(char c) {
  if (IsDigit(c)) {
    return c - '0';
  }
  const char lower = LowerAscii(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

Json JsonReader::parse_number() {
  // The sign and the whole part.
  const char* const start = position_;
  const bool negative = *position_ == '-';
  position_ += negative ? 1 : 0;
  const char* const digits = position_;
  uint64_t whole = 0;  // unused if it has wrapped, past kMaxExactDigits
  if (*position_ == '0') {
    ++position_;
    if (IsDigit(*position_)) {
      return fail("leading 0s not permitted in numbers");
    }
  } else if (IsDigit(*position_)) {
    for (; IsDigit(*position_); ++position_) {
      whole = whole * 10 + static_cast<uint64_t>(*position_ - '0');
    }
  } else {
    return fail("invalid " + DescribeCharacter(*position_) + " in number");
  }

  // A short whole number needs no general conversion.
  if (*position_ != '.' && *position_ != 'e' && *position_ != 'E' &&
      position_ - digits <= kMaxExactDigits) {
    const auto value = negative ? -static_cast<long long>(whole) : static_cast<long long>(whole);
    if (position_ - start <= kMaxInteger) {
      return {value};
    }
    return Json(std::make_shared<JsonDouble>(static_cast<double>(value)));
  }
  // The fraction and the exponent.
  if (*position_ == '.') {
    ++position_;
    if (!IsDigit(*position_)) {
      return fail("at least one digit required in fractional part");
    }
    position_ = std::find_if_not(position_, end_, IsDigit);
  }
  if (*position_ == 'e' || *position_ == 'E') {
    ++position_;
    position_ += *position_ == '+' || *position_ == '-' ? 1 : 0;
    if (!IsDigit(*position_)) {
      return fail("at least one digit required in exponent");
    }
    position_ = std::find_if_not(position_, end_, IsDigit);
  }
  return Json(std::make_shared<JsonDouble>(DecimalToDouble(start, position_)));
}

// Holds back the code unit of an escape until it is known whether its other half follows.
std::string JsonReader::parse_string() {
  const char* run = position_;
  position_ = SkipPlain(position_);
  std::string text(run, position_);
  int32_t held_unit = -1;
  while (true) {
    if (position_ == end_) {
      fail("unexpected end of input in string");
      return {};
    }
    const char ch = *position_++;
    if (ch == '"') {
      AppendUtf8(text, held_unit);
      return text;
    }
    if (ch != '\\') {
      fail("unescaped " + DescribeCharacter(ch) + " in string");
      return {};
    }
    if (!parse_escape(text, held_unit)) {
      return {};
    }
    run = position_;
    position_ = SkipPlain(position_);
    if (run != position_) {
      AppendUtf8(text, std::exchange(held_unit, -1));
      text.append(run, position_);
    }
  }
}

bool JsonReader::parse_escape(std::string& text, int32_t& held_unit) {
  if (position_ == end_) {
    fail("unexpected end of input in string");
    return false;
  }
  // A code unit joins with the one before it, or is held for the next.
  const char ch = *position_++;
  if (ch == 'u') {
    const int32_t unit = parse_code_unit();
    if (IsHighSurrogate(held_unit) && IsLowSurrogate(unit)) {
      AppendUtf8(text, (((held_unit - 0xD800) << 10) | (unit - 0xDC00)) + 0x10000);
      held_unit = -1;
    } else {
      AppendUtf8(text, held_unit);
      held_unit = unit;
    }
    return !failed_;
  }
  // All other escapes are one character.
  constexpr std::string_view kEscapes = "bfnrt\"/\\";
  constexpr std::string_view kMeanings = "\b\f\n\r\t\"/\\";
  const size_t index = kEscapes.find(ch);
  if (index == std::string_view::npos) {
    fail("invalid escape character " + DescribeCharacter(ch));
    return false;
  }
  AppendUtf8(text, std::exchange(held_unit, -1));
  text += kMeanings[index];
  return true;
}

int32_t JsonReader::parse_code_unit() {
  constexpr ptrdiff_t kDigits = 4;
  const char* const digits = position_;
  const char* const digits_end = digits + std::min(kDigits, end_ - digits);
  int32_t unit = 0;
  for (; position_ != digits_end && HexValue(*position_) >= 0; ++position_) {
    unit = unit * 16 + HexValue(*position_);
  }
  if (position_ - digits != kDigits) {
    fail("bad \\u escape: " + std::string(digits, digits_end));
    return -1;
  }
  return unit;
}

}  // namespace zo_base::json11
