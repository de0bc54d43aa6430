#include "tools/log_reader/log_message.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "base/log/log_format.h"

namespace log_reader {

namespace {

// The start of each line; '0' means any digit.
constexpr std::string_view kTimeShape = "00-00 00:00:00.000 ";

bool BeginsWithTime(std::string_view line) {
  return line.size() >= kTimeShape.size() &&
         std::equal(kTimeShape.begin(), kTimeShape.end(), line.begin(), [](char shape, char c) {
           return shape == '0' ? c >= '0' && c <= '9' : c == shape;
         });
}

// Removes a number and the suffix after it from the front of `rest`. Returns false if `rest`
// doesn't begin with them.
bool TakeNumber(std::string_view& rest, uint32_t& number, std::string_view suffix) {
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  const auto digits = static_cast<size_t>(end - rest.data());
  if (error != std::errc() || rest.substr(digits, suffix.size()) != suffix) {
    return false;
  }
  rest.remove_prefix(digits + suffix.size());
  return true;
}

// Parses a prefix such as "03-14 15:09:26.535 4-8 [LV_APP] ". Returns its length, 0 if the line has
// none.
size_t ParsePrefix(const std::string& line, LogMessage& message) {
  if (!BeginsWithTime(line)) {
    return 0;
  }
  message.time = line.substr(0, kTimeShape.size() - 1);
  std::string_view rest = line;
  rest.remove_prefix(kTimeShape.size());
  if (!TakeNumber(rest, message.process_id, "-") || !TakeNumber(rest, message.thread_id, " [")) {
    return 0;
  }
  const size_t end = rest.find("] ");
  if (end == 0 || end == std::string_view::npos) {
    return 0;
  }
  message.level = rest.substr(0, end);
  const bool is_level =
      message.level.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_") == std::string::npos;
  return is_level ? line.size() - rest.size() + end + 2 : 0;
}

bool HasLocationLine(const std::string& level) {
  return level == "LV_KER" || level == "LV_ASS" || level == "LV_ERR" || level == "LV_WAR";
}

// Requires: `text` has no marker in it.
void ParseLines(std::string_view text, std::vector<LogMessage>& out) {
  bool text_comes_next = false;  // after the line with the location
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string line(text.substr(0, end));
    const std::string_view bytes = text.substr(0, end + 1);
    text.remove_prefix(bytes.size());
    LogMessage message;
    if (const size_t prefix = ParsePrefix(line, message)) {
      text_comes_next = HasLocationLine(message.level);
      (text_comes_next ? message.location : message.text) = line.substr(prefix);
      out.push_back(message);
    } else if (text_comes_next) {
      out.back().text = line;
      text_comes_next = false;
    } else if (!out.empty() && !out.back().IsMarker()) {
      out.back().text += "\n" + line;
    } else {
      LogMessage rest;
      rest.level = "cut";
      rest.text = line;
      out.push_back(rest);
    }
    out.back().bytes += bytes;
  }
}

LogMessage Marker(std::string_view line) {
  const size_t begin = line.find_first_not_of("\r\n -");
  const size_t end = line.find_last_not_of("\r\n -");
  LogMessage marker;
  marker.text = line.substr(begin, end + 1 - begin);
  marker.bytes = line;
  return marker;
}

}  // namespace

std::vector<std::string_view> LogMessage::Tags() const {
  std::vector<std::string_view> tags;
  std::string_view rest = text;
  while (rest.substr(0, 1) == "[") {
    const size_t end = std::min(rest.find(']'), rest.size());
    tags.push_back(rest.substr(1, end - 1));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return tags;
}

bool LogMessage::HasTag(std::string_view tag) const {
  const std::vector<std::string_view> tags = Tags();
  return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

std::vector<LogMessage> ParseMessages(std::string_view text) {
  std::vector<LogMessage> messages;
  size_t at = 0;
  size_t begin = text.find(zo_base::kOldTextBegin);
  size_t end = text.find(zo_base::kOldTextEnd);
  for (;;) {
    const size_t first = std::min(begin, end);
    ParseLines(text.substr(at, first - at), messages);
    if (first == std::string_view::npos) {
      return messages;
    }
    const std::string_view marker = begin < end ? zo_base::kOldTextBegin : zo_base::kOldTextEnd;
    messages.push_back(Marker(marker));
    at = first + marker.size();
    // Keep the marker that comes later: a log of one kind of marker would be searched for the other
    // one again and again.
    begin = begin < at ? text.find(zo_base::kOldTextBegin, at) : begin;
    end = end < at ? text.find(zo_base::kOldTextEnd, at) : end;
  }
}

}  // namespace log_reader
