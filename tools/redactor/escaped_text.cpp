#include "tools/redactor/escaped_text.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace redactor {

namespace {

// Bounds the time that a hostile text costs.
constexpr size_t kMaxBackslashes = 16;

}  // namespace

size_t BackslashesBefore(std::string_view text, size_t place) {
  size_t count = 0;
  while (count < std::min(place, kMaxBackslashes) && text[place - count - 1] == '\\') {
    ++count;
  }
  return count;
}

std::string_view WithoutBlanks(std::string_view text) {
  const auto drop = [&](std::string_view characters) {
    text = text.substr(0, text.find_last_not_of(characters) + 1);
  };
  drop(" \t\r\n");
  while (text.ends_with("\\t") || text.ends_with("\\r") || text.ends_with("\\n")) {
    text.remove_suffix(1);
    drop("\\");
    drop(" \t\r\n");
  }
  return text;
}

size_t EscapedText::Length(size_t place, char c) const {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr size_t kEscapeBytes = 5;
  if (At(place) == c) {
    return 1;
  }
  if (At(place) != '\\') {
    return 0;
  }
  const size_t escape = SkipBackslashes(place);
  const auto code = static_cast<unsigned char>(c);
  const std::string wanted = std::string("u00") + kDigits[code / 16] + kDigits[code % 16];
  const std::string_view found = text_.substr(escape, kEscapeBytes);
  const bool same = std::equal(found.begin(), found.end(), wanted.begin(), wanted.end(),
                               [](char left, char right) {
                                 return std::tolower(static_cast<unsigned char>(left)) == right;
                               });
  return same ? escape + kEscapeBytes - place : 0;
}

size_t EscapedText::SkipBackslashes(size_t place) const {
  size_t end = place;
  while (end - place < kMaxBackslashes && At(end) == '\\') {
    ++end;
  }
  return end;
}

size_t EscapedText::Next(size_t place) const {
  const size_t end = SkipBackslashes(place);
  return end == place || At(end) == '"' ? end + 1 : end;
}

bool EscapedText::EndsString(size_t place, size_t backslashes) const {
  const size_t quote = SkipBackslashes(place);
  const size_t count = quote - place;
  const bool ends_outer_string = count < backslashes;
  // A string whose quotes have N backslashes writes each backslash of its value as 2 * (N + 1) of
  // them, and a quote of its value with N + 1 more than its own quotes have. So whole groups of
  // 2 * (N + 1) stand before a quote that ends it.
  const bool ends = ends_outer_string || (count - backslashes) % (2 * (backslashes + 1)) == 0;
  return EndsLine(place) || (At(quote) == '"' && ends);
}

size_t EscapedText::ValueEnd(size_t place, size_t backslashes) const {
  constexpr std::string_view kAfterPlainValue = ",]}\r\n";
  size_t open = 0;  // lists and objects
  while (place < text_.size()) {
    const size_t next = SkipBackslashes(place);
    const char c = At(next);
    const bool ends_outer_string = c == '"' && next - place < backslashes;
    if (ends_outer_string || (open == 0 && kAfterPlainValue.find(c) != std::string_view::npos)) {
      return place;
    }
    const bool closes = c == ']' || c == '}';
    open += c == '[' || c == '{' ? 1 : 0;
    open -= closes ? 1 : 0;
    place = next + 1;
    if (c == '"') {
      while (!EndsString(place, backslashes)) {
        place = Next(place);
      }
      const size_t quote = SkipBackslashes(place);
      const bool is_closed = At(quote) == '"' && quote - place >= backslashes;
      place = is_closed ? quote + 1 : place;
    }
    if (open == 0 && (c == '"' || closes)) {
      return place;
    }
  }
  return text_.size();
}

size_t EscapedText::SkipBlanks(size_t place) const {
  constexpr std::string_view kBlanks = " \t\r\n";
  constexpr std::string_view kEscapes = "trn";
  while (place < text_.size()) {
    const size_t next = SkipBackslashes(place);
    const std::string_view wanted = next == place ? kBlanks : kEscapes;
    if (wanted.find(At(next)) == std::string_view::npos) {
      break;
    }
    place = next + 1;
  }
  return place;
}

}  // namespace redactor
