#include "tools/log_reader/log_message.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/log/log_format.h"

namespace log_reader {

namespace {

constexpr size_t kTimeBytes = sizeof "03-14 15:09:26.535" - 1;

// Returns the length of the line's prefix in bytes, 0 if it has none.
size_t ParsePrefix(const std::string& line, LogMessage& message) {
  std::array<char, 8> level{};
  int bytes = 0;
  std::sscanf(line.c_str(), "%*2d-%*2d %*2d:%*2d:%*2d.%*3d %u-%u [%7[A-Z_]]%n", &message.process_id,
              &message.thread_id, level.data(), &bytes);
  message.level = level.data();
  message.time = line.substr(0, kTimeBytes);
  const auto length = static_cast<size_t>(bytes);
  // sscanf also reads "3-14", the date of a line whose first byte a cut has removed.
  const bool is_whole = bytes > 0 && line[2] == '-';
  return is_whole && length < line.size() && line[length] == ' ' ? length + 1 : 0;
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

bool LogMessage::HasTag(std::string_view tag) const {
  std::string_view rest = text;
  while (rest.substr(0, 1) == "[") {
    const size_t end = std::min(rest.find(']'), rest.size());
    if (rest.substr(1, end - 1) == tag) {
      return true;
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}

std::vector<LogMessage> ParseMessages(std::string_view text) {
  std::vector<LogMessage> messages;
  for (;;) {
    const size_t begin = text.find(zo_base::kOldTextBegin);
    const size_t end = text.find(zo_base::kOldTextEnd);
    const size_t first = std::min(begin, end);
    ParseLines(text.substr(0, first), messages);
    if (first == std::string_view::npos) {
      return messages;
    }
    const std::string_view marker = begin < end ? zo_base::kOldTextBegin : zo_base::kOldTextEnd;
    messages.push_back(Marker(marker));
    text.remove_prefix(first + marker.size());
  }
}

}  // namespace log_reader
