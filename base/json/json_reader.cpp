#include "base/json/json_reader.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "base/json/json_text.h"

namespace zo_base::json11 {
namespace {

constexpr int kMaxDepth = 200;        // bounds the recursion of reading, dumping and freeing
constexpr size_t kFirstElements = 4;  // saves an array the first steps of its growth

bool IsBlank(char c) {
  return c == ' ' || c == '\r' || c == '\n' || c == '\t';
}

}  // namespace

Json JsonReader::parse_document(std::string& err) {
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
    fault_offset_ = static_cast<size_t>(position_ - begin_);
    failed_ = true;
  }
  return {};
}

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
        --position_;  // parse_number reads this character too
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
    // The name.
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
    // The value.
    Json value = parse_json(depth + 1);
    if (failed_) {
      return {};
    }
    // If a name occurs twice, the first member counts. Documents that we wrote have their keys in
    // order, so the end is the likely place.
    members.try_emplace(members.end(), std::move(key), std::move(value));
    // The end of the object, or its next member.
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
    --position_;  // parse_json reads the value's first character too
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
    get_next_token();  // fails at the end of the text; the loop steps back from any other character
  }
  return {};
}

Json JsonReader::expect(std::string_view text, Json value) {
  --position_;  // `text` includes the character that parse_json has read
  const std::string_view rest(position_, static_cast<size_t>(end_ - position_));
  const std::string_view got = rest.substr(0, text.size());
  if (got == text) {
    position_ += text.size();
    return value;
  }
  return fail("parse error: expected " + std::string(text) + ", got " + std::string(got));
}

Json Json::parse(const std::string& in, std::string& err, JsonParse strategy) {
  return JsonReader(in, strategy).parse_document(err);
}

}  // namespace zo_base::json11
