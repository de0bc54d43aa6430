#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/history/history.h"

namespace history {

// A message of a process, with what the parts of the reader need to know about its place. Refers to
// the messages of the History.
struct Line {
  size_t message = 0;
  int64_t at_ms = 0;
  size_t run = 0;
  uint32_t thread_id = 0;
  std::string_view text;
  // The neighbours of the same thread of the same run, in the list of lines.
  std::optional<size_t> previous;
  std::optional<size_t> next;
};

// A thread of a run. Numbers of threads are used again by later processes.
using ThreadKey = std::pair<size_t, uint32_t>;

inline ThreadKey ThreadOf(const Line& line) {
  return {line.run, line.thread_id};
}

// Finds the runs, fills `history.runs`, and returns the lines of all processes in the log's order.
std::vector<Line> FindLines(History& history);

// --- Reading a line's text ---

// Removes `prefix` from the front of the text. Returns false if it isn't there.
inline bool Skip(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) {
    return false;
  }
  text.remove_prefix(prefix.size());
  return true;
}

// Returns what follows `prefix`, nothing if the text doesn't begin with it.
inline std::optional<std::string_view> After(std::string_view text, std::string_view prefix) {
  return Skip(text, prefix) ? std::optional(text) : std::nullopt;
}

// Returns the number at the front of the text, nothing if there is none or it is too large.
template <class Number = int64_t>
std::optional<Number> LeadingNumber(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() ? std::optional(number) : std::nullopt;
}

// Returns the number that follows the first occurrence of `label`.
inline std::optional<int64_t> NumberAfter(std::string_view text, std::string_view label) {
  const size_t at = text.find(label);
  return at == std::string_view::npos ? std::nullopt
                                      : LeadingNumber(text.substr(at + label.size()));
}

// Returns the text between the first and the last line of dashes, as the log holds bodies; empty
// without them.
std::string_view FramedText(std::string_view text);

}  // namespace history
