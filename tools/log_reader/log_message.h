#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace log_reader {

// One message of the log in its parts. A plain value, for one thread at a time. A marker is a line
// that frames text recovered from the run before. A cut line lost its beginning when the log was
// shortened.
struct LogMessage {
  std::string time;  // "03-14 15:09:26.535"; empty for a marker and for the rest of a cut line
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  std::string level;     // "LV_APP"; empty for a marker, "cut" for the rest of a cut line
  std::string location;  // "file.cpp:12" of a severe level
  // Without the prefix and the last line end; a message of several lines keeps the others. The text
  // of a marker is the middle of its line: "load from mmap file begin".
  std::string text;
  std::string bytes;  // the whole message as the log has it

  [[nodiscard]] bool IsMarker() const { return level.empty(); }
  // Returns the tags at the begin of the text, as parts of it: "[http dns][init] ..." has "http
  // dns" and "init". A tag without "]" reaches to the end of the text.
  [[nodiscard]] std::vector<std::string_view> Tags() const;
  [[nodiscard]] bool HasTag(std::string_view tag) const;
};

// Splits a text into its messages. Joined, their bytes are the text again. Any text has a result: a
// line without a prefix belongs to the message before it, or is the rest of a cut line.
std::vector<LogMessage> ParseMessages(std::string_view text);

}  // namespace log_reader
