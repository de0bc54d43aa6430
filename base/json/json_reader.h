#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/json/json.h"

namespace zo_base::json11 {

// Reads one JSON text by recursive descent. Keeps the first failure; after it, all functions only
// unwind and their results mean nothing. json_scalar_reader.cpp has the functions for numbers and
// strings, json_reader.cpp all others.
// Threads: one.
// Owner:   the stack of Json::parse. The input outlives the reader and ends with a NUL.
// Errors:  parse_document reports the first one.
class JsonReader {
 public:
  JsonReader(const std::string& in, JsonParse strategy)
      : position_(in.data()), begin_(in.data()), end_(in.data() + in.size()), strategy_(strategy) {}

  JsonReader(const JsonReader&) = delete;
  JsonReader& operator=(const JsonReader&) = delete;

  Json parse_document(std::string& err);

  // Returns how many bytes had been read when the first failure was found.
  [[nodiscard]] size_t fault_offset() const { return fault_offset_; }

 private:
  Json fail(std::string message);

  // Returns true if there was a comment.
  bool consume_comment();
  // Skips comments too, if the strategy allows them.
  void consume_garbage();
  // Returns and consumes the next character that isn't blank; 0 on failure.
  char get_next_token();

  Json parse_json(int depth);
  Json parse_object(int depth);
  Json parse_array(int depth);
  Json parse_number();
  Json expect(std::string_view text, Json value);

  // Requires: the opening quote has been consumed.
  std::string parse_string();
  // Requires: the backslash has been consumed. Returns false on failure.
  bool parse_escape(std::string& text, int32_t& held_unit);
  // Reads the four digits of a \u escape; -1 on failure.
  int32_t parse_code_unit();

  const char* position_;
  const char* const begin_;
  const char* const end_;
  const JsonParse strategy_;
  std::string error_;
  size_t fault_offset_ = 0;
  bool failed_ = false;
};

}  // namespace zo_base::json11
