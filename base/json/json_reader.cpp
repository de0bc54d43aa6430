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

Json JsonReader::ReadDocument(std::string& err) {
  Json result = ReadValue(0);
  SkipBlanks();
  if (!failed_ && position_ != end_) {
    Fail("unexpected trailing " + DescribeCharacter(*position_));
  }
  err = std::move(error_);
  return failed_ ? Json() : result;
}

Json JsonReader::Fail(std::string message) {
  if (!failed_) {
    error_ = std::move(message);
    failed_ = true;
  }
  return {};
}

bool JsonReader::SkipComment() {
  if (position_ == end_ || *position_ != '/') {
    return false;
  }
  ++position_;
  if (position_ == end_) {
    Fail("unexpected end of input after start of comment");
    return false;
  }
  const char kind = *position_++;
  if (kind == '/') {
    position_ = std::find(position_, end_, '\n');
    return true;
  }
  if (kind != '*') {
    Fail("malformed comment");
    return false;
  }
  constexpr std::string_view kClosing = "*/";
  const char* const closing = std::search(position_, end_, kClosing.begin(), kClosing.end());
  if (closing == end_) {
    Fail("unexpected end of input inside multi-line comment");
    return false;
  }
  position_ = closing + kClosing.size();
  return true;
}

void JsonReader::SkipBlanks() {
  do {
    while (IsBlank(*position_)) {
      ++position_;
    }
  } while (strategy_ == JsonParse::kComments && SkipComment());
}

char JsonReader::NextToken() {
  SkipBlanks();
  if (failed_) {
    return 0;
  }
  if (position_ == end_) {
    Fail("unexpected end of input");
    return 0;
  }
  return *position_++;
}

Json JsonReader::ReadValue(int depth) {
  if (depth > kMaxDepth) {
    return Fail("exceeded maximum nesting depth");
  }
  const char ch = NextToken();
  if (failed_) {
    return {};
  }
  switch (ch) {
    case '"':
      return {ReadString()};
    case '{':
      return ReadObject(depth);
    case '[':
      return ReadArray(depth);
    case 't':
      return Expect("true", true);
    case 'f':
      return Expect("false", false);
    case 'n':
      return Expect("null", {});
    default:
      if (ch == '-' || IsDigit(ch)) {
        --position_;
        return ReadNumber();
      }
      return Fail("expected value, got " + DescribeCharacter(ch));
  }
}

Json JsonReader::ReadObject(int depth) {
  Json::object members;
  char ch = NextToken();
  if (ch == '}') {
    return {std::move(members)};
  }
  while (true) {
    // The name.
    if (ch != '"') {
      return Fail("expected '\"' in object, got " + DescribeCharacter(ch));
    }
    std::string key = ReadString();
    if (failed_) {
      return {};
    }
    ch = NextToken();
    if (ch != ':') {
      return Fail("expected ':' in object, got " + DescribeCharacter(ch));
    }
    // The value. Of members with one name the first counts.
    Json value = ReadValue(depth + 1);
    if (failed_) {
      return {};
    }
    // Documents that we wrote have their keys in order, so the end is the likely place.
    members.try_emplace(members.end(), std::move(key), std::move(value));
    // The end of the object, or its next member.
    ch = NextToken();
    if (ch == '}') {
      return {std::move(members)};
    }
    if (ch != ',') {
      return Fail("expected ',' in object, got " + DescribeCharacter(ch));
    }
    ch = NextToken();
  }
}

Json JsonReader::ReadArray(int depth) {
  Json::array values;
  char ch = NextToken();
  if (ch == ']') {
    return {std::move(values)};
  }
  values.reserve(kFirstElements);
  while (!failed_) {
    --position_;
    values.push_back(ReadValue(depth + 1));
    if (failed_) {
      break;
    }
    ch = NextToken();
    if (ch == ']') {
      return {std::move(values)};
    }
    if (ch != ',') {
      return Fail("expected ',' in list, got " + DescribeCharacter(ch));
    }
    NextToken();
  }
  return {};
}

Json JsonReader::Expect(std::string_view text, Json value) {
  --position_;
  const std::string_view rest(position_, static_cast<size_t>(end_ - position_));
  const std::string_view got = rest.substr(0, text.size());
  if (got == text) {
    position_ += text.size();
    return value;
  }
  return Fail("parse error: expected " + std::string(text) + ", got " + std::string(got));
}

Json Json::parse(const std::string& in, std::string& err, JsonParse strategy) {
  return JsonReader(in, strategy).ReadDocument(err);
}

}  // namespace zo_base::json11
