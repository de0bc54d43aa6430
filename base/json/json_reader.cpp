#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/json/json.h"
#include "base/json/json_text.h"
#include "base/json/json_value.h"

namespace zo_base::json11 {
namespace {

constexpr int kMaxDepth = 200;             // bounds the recursion of reading, dumping and freeing
constexpr ptrdiff_t kMaxInteger = 9;       // characters of the longest number that stays an integer
constexpr ptrdiff_t kMaxExactDigits = 18;  // decimal digits that any 64-bit integer can take

constexpr size_t kFirstElements = 4;  // spares an array its first steps of growth

// Bytes of a string that stand for themselves. A NUL is none, so that a scan stops at the end of
// the input without a test of its own.
constexpr std::array<bool, 256> kPlainBytes = [] {
  std::array<bool, 256> plain{};
  for (size_t byte = 0x20; byte < plain.size(); ++byte) {
    plain[byte] = byte != '"' && byte != '\\';
  }
  return plain;
}();

// The first byte from `p` on that isn't plain.
const char* SkipPlain(const char* p) {
  while (kPlainBytes[static_cast<unsigned char>(*p)]) {
    ++p;
  }
  return p;
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
bool IsBlank(char c) {
  return c == ' ' || c == '\r' || c == '\n' || c == '\t';
}
bool IsHighSurrogate(int32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(int32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The value of a hexadecimal digit, or -1.
int32_t HexValue(char c) {
  if (IsDigit(c)) {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

// One run over a text, by recursive descent. The first failure is kept and everything after it
// only unwinds: what a function gives back while `failed_` is set is of no use.
// Threads: one. Owner: the stack of Json::parse; the input outlives it and ends with a NUL.
class JsonReader {
 public:
  JsonReader(const std::string& in, JsonParse strategy)
      : position_(in.data()), end_(in.data() + in.size()), strategy_(strategy) {}

  JsonReader(const JsonReader&) = delete;
  JsonReader& operator=(const JsonReader&) = delete;

  Json ReadDocument(std::string& err);

 private:
  Json fail(std::string message);

  bool consume_comment();
  void consume_garbage();
  char get_next_token();

  Json parse_json(int depth);
  Json parse_object(int depth);
  Json parse_array(int depth);
  Json parse_number();
  Json expect(std::string_view text, Json value);

  std::string parse_string();
  bool parse_escape(std::string& text, int32_t& held_unit);
  int32_t parse_code_unit();

  const char* position_;
  const char* const end_;
  const JsonParse strategy_;
  std::string error_;
  bool failed_ = false;
};

Json JsonReader::ReadDocument(std::string& err) {
  Json result = parse_json(0);
  consume_garbage();
  if (!failed_ && position_ != end_) {
    fail("unexpected trailing " + DescribeCharacter(*position_));
  }
  err = std::move(error_);
  return failed_ ? Json() : result;
}

Json JsonReader::fail(std::string message) {
  if (!failed_) {
    error_ = std::move(message);
    failed_ = true;
  }
  return {};
}

// True if there was a comment and it was stepped over.
bool JsonReader::consume_comment() {
  if (position_ == end_ || *position_ != '/') {
    return false;
  }
  ++position_;
  if (position_ == end_) {
    fail("unexpected end of input after start of comment");
    return false;
  }
  const char kind = *position_++;
  if (kind == '/') {
    position_ = std::find(position_, end_, '\n');
    return true;
  }
  if (kind != '*') {
    fail("malformed comment");
    return false;
  }
  constexpr std::string_view kClosing = "*/";
  const char* const closing = std::search(position_, end_, kClosing.begin(), kClosing.end());
  if (closing == end_) {
    fail("unexpected end of input inside multi-line comment");
    return false;
  }
  position_ = closing + kClosing.size();
  return true;
}

void JsonReader::consume_garbage() {
  do {
    while (IsBlank(*position_)) {
      ++position_;
    }
  } while (strategy_ == JsonParse::kComments && consume_comment());
}

// The next character that isn't garbage, stepped over; 0 if that failed.
char JsonReader::get_next_token() {
  consume_garbage();
  if (failed_) {
    return 0;
  }
  if (position_ == end_) {
    fail("unexpected end of input");
    return 0;
  }
  return *position_++;
}

Json JsonReader::parse_json(int depth) {
  if (depth > kMaxDepth) {
    return fail("exceeded maximum nesting depth");
  }
  const char ch = get_next_token();
  if (failed_) {
    return {};
  }
  switch (ch) {
    case '"':
      return {parse_string()};
    case '{':
      return parse_object(depth);
    case '[':
      return parse_array(depth);
    case 't':
      return expect("true", true);
    case 'f':
      return expect("false", false);
    case 'n':
      return expect("null", {});
    default:
      if (ch == '-' || IsDigit(ch)) {
        --position_;
        return parse_number();
      }
      return fail("expected value, got " + DescribeCharacter(ch));
  }
}

Json JsonReader::parse_object(int depth) {
  Json::object members;
  char ch = get_next_token();
  if (ch == '}') {
    return {std::move(members)};
  }
  while (true) {
    if (ch != '"') {
      return fail("expected '\"' in object, got " + DescribeCharacter(ch));
    }
    std::string key = parse_string();
    if (failed_) {
      return {};
    }
    ch = get_next_token();
    if (ch != ':') {
      return fail("expected ':' in object, got " + DescribeCharacter(ch));
    }
    Json value = parse_json(depth + 1);
    if (failed_) {
      return {};
    }
    // Documents that we wrote have their keys in order, so the end is the place to try.
    members.try_emplace(members.end(), std::move(key), std::move(value));
    ch = get_next_token();
    if (ch == '}') {
      return {std::move(members)};
    }
    if (ch != ',') {
      return fail("expected ',' in object, got " + DescribeCharacter(ch));
    }
    ch = get_next_token();
  }
}

Json JsonReader::parse_array(int depth) {
  Json::array values;
  char ch = get_next_token();
  if (ch == ']') {
    return {std::move(values)};
  }
  values.reserve(kFirstElements);
  while (!failed_) {
    --position_;
    values.push_back(parse_json(depth + 1));
    if (failed_) {
      break;
    }
    ch = get_next_token();
    if (ch == ']') {
      return {std::move(values)};
    }
    if (ch != ',') {
      return fail("expected ',' in list, got " + DescribeCharacter(ch));
    }
    get_next_token();
  }
  return {};
}

Json JsonReader::expect(std::string_view text, Json value) {
  --position_;
  const std::string_view rest(position_, static_cast<size_t>(end_ - position_));
  const std::string_view got = rest.substr(0, text.size());
  if (got == text) {
    position_ += text.size();
    return value;
  }
  return fail("parse error: expected " + std::string(text) + ", got " + std::string(got));
}

Json JsonReader::parse_number() {
  const char* const start = position_;
  const bool negative = *position_ == '-';
  position_ += negative ? 1 : 0;
  const char* const digits = position_;
  uint64_t whole = 0;  // wraps past kMaxExactDigits, and isn't used then
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

  if (*position_ != '.' && *position_ != 'e' && *position_ != 'E' &&
      position_ - digits <= kMaxExactDigits) {
    const auto value = negative ? -static_cast<long long>(whole) : static_cast<long long>(whole);
    if (position_ - start <= kMaxInteger) {
      return {value};
    }
    return Json(std::make_shared<JsonDouble>(static_cast<double>(value)));
  }
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

// The text of a string whose opening quote has been read. A code unit of an escape is held back
// until it is known whether its other half follows.
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

// What follows a backslash. False if that failed.
bool JsonReader::parse_escape(std::string& text, int32_t& held_unit) {
  if (position_ == end_) {
    fail("unexpected end of input in string");
    return false;
  }
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

// The four digits of a \u escape.
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

Json Json::parse(const std::string& in, std::string& err, JsonParse strategy) {
  return JsonReader(in, strategy).ReadDocument(err);
}

}  // namespace zo_base::json11
