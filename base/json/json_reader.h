#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/json/json.h"

namespace zo_base::json11 {

// Reads one JSON text by recursive descent. Keeps the first failure; after it, all functions only
// unwind and their results mean nothing.
// Threads: one.
// Owner:   the stack of Json::parse. The input outlives the reader and ends with a NUL.
// Errors:  ReadDocument reports the first one.
class JsonReader {
 public:
  JsonReader(const std::string& in, JsonParse strategy)
      : position_(in.data()), end_(in.data() + in.size()), strategy_(strategy) {}

  JsonReader(const JsonReader&) = delete;
  JsonReader& operator=(const JsonReader&) = delete;

  Json ReadDocument(std::string& err);

 private:
  Json Fail(std::string message);

  // Returns true if there was a comment.
  bool SkipComment();
  // Skips comments too, if the strategy allows them.
  void SkipBlanks();
  // Returns and consumes the next character that isn't blank; 0 on failure.
  char NextToken();

  Json ReadValue(int depth);
  Json ReadObject(int depth);
  Json ReadArray(int depth);
  Json ReadNumber();
  Json Expect(std::string_view text, Json value);

  // Requires: the opening quote has been consumed.
  std::string ReadString();
  // Requires: the backslash has been consumed. Returns false on failure.
  bool ReadEscape(std::string& text, int32_t& held_unit);
  // Reads the four digits of a \u escape; -1 on failure.
  int32_t ReadCodeUnit();

  const char* position_;
  const char* const end_;
  const JsonParse strategy_;
  std::string error_;
  bool failed_ = false;
};

}  // namespace zo_base::json11
