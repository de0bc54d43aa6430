#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/log_reader/log_message.h"

namespace platform {
class GrowingFile;
}

namespace log_reader {

// Reads a log as one text: the log file, then what its buffer file (base/log/log_format.h) has in
// addition. The writer's process may be running or dead. The reader can meet any of its steps:
//   1. It copies a line to the end of the buffer's text, and then counts it.
//   2. If a line has no room, it appends the buffer's text and the line to the log.
//   3. If the log is too long, it copies the newer half and renames that over the log.
//   4. It clears the buffer.
// From 2 to 4 both files have the same text, and during 2 the log has a part of it. The files have
// no lock, so the reader compares them: lines differ, since each has its time. Equal lines of one
// ms, and a writer that stops for half a second within an append, can give lines twice. A message
// whose append is in progress is returned whole: while the process that writes it lives, a call
// leaves it to a later one.
//
// Threads: one at a time.
// Owner:   anyone. Opens the files for reading during a call, and maps nothing.
// Errors:  files that are missing or not readable count as empty.
class LogReader {
 public:
  // kIsGone: no process writes the files, so nothing is waited for.
  enum class Writer { kMayLive, kIsGone };

  explicit LogReader(std::string log_path, Writer writer = Writer::kMayLive);

  [[nodiscard]] const std::string& path() const { return path_; }

  // Returns the text since the last call; the first call returns all of it. Returns nothing twice
  // if the log was cut meanwhile, and all of a log that was replaced.
  std::string ReadNewText();
  // Returns the same as messages. From the second call on, leaves out the rest of a line that was
  // cut in two.
  std::vector<LogMessage> ReadNewMessages();
  // Skips what the log has now.
  void SkipToEnd() { ReadNewText(); }

 private:
  struct Look;

  [[nodiscard]] std::string BufferPath() const;
  // Returns whether `offset_` is a place in this file.
  [[nodiscard]] bool IsKnown(const platform::GrowingFile& file) const;
  [[nodiscard]] Look LookAtFiles() const;
  // Returns how many bytes of the look's text earlier calls have returned.
  [[nodiscard]] size_t KnownBytes(const Look& look, const std::string& text) const;

  const std::string path_;
  const Writer writer_;
  bool follows_ = false;  // after the first look
  uint64_t inode_ = 0;
  uint64_t offset_ = 0;  // in the log file; earlier calls have returned all before it
  std::string before_;   // the last bytes before `offset_`
  std::string given_;    // the bytes after it that earlier calls have returned, buffer included
};

}  // namespace log_reader
