#pragma once

#include <cstddef>
#include <string_view>

namespace redactor {

inline bool IsLineEnd(char c) {
  return c == '\r' || c == '\n';
}

// Returns how many backslashes a text has directly before a place.
size_t BackslashesBefore(std::string_view text, size_t place);

// Removes the blanks and line ends at the end of a text, and their escapes.
std::string_view WithoutBlanks(std::string_view text);

// Finds what stands at the places of a text that can be JSON, or JSON in a string of JSON. There a
// quote has backslashes before it: 0, 1 inside a string, 3 inside a string of that.
// Threads: any.
// Owner:   anyone; refers to the text.
// Errors:  none; any bytes have a result.
class EscapedText {
 public:
  explicit EscapedText(std::string_view text) : text_(text) {}

  // Returns NUL after the end.
  [[nodiscard]] char At(size_t place) const { return place < text_.size() ? text_[place] : '\0'; }
  [[nodiscard]] bool IsAt(size_t place, std::string_view word) const {
    return text_.substr(place).starts_with(word);
  }

  // Returns the length of `c`, or of its escape such as \u0026, at a place; 0 if it isn't there.
  [[nodiscard]] size_t Length(size_t place, char c) const;

  [[nodiscard]] size_t SkipBackslashes(size_t place) const;
  // Returns the place after a character, or after a quote with its backslashes.
  [[nodiscard]] size_t Next(size_t place) const;

  [[nodiscard]] bool EndsLine(size_t place) const {
    return place >= text_.size() || IsLineEnd(text_[place]);
  }
  // Returns whether a string, or one around it, or its line ends at a place.
  [[nodiscard]] bool EndsString(size_t place, size_t backslashes) const;
  // Returns the end of the value at a place: a string, a list, an object or a plain one.
  [[nodiscard]] size_t ValueEnd(size_t place, size_t backslashes) const;
  // Returns the place after the blanks and line ends at a place, and after their escapes.
  [[nodiscard]] size_t SkipBlanks(size_t place) const;

 private:
  const std::string_view text_;
};

}  // namespace redactor
