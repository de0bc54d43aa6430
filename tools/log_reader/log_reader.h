#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/log_reader/log_message.h"

namespace log_reader {

// Reads a log as one text: the log file, then what the buffer beside it (`<log>.qel_mmap`: four
// bytes of length, little-endian, then lines) holds after it. It may follow the log of a process
// that runs, and reads that of one that has died. The writer's steps, of which any can be met:
//   1. a line is copied after the text of the buffer, and then counted;
//   2. one that finds no room: the buffer's text and the line are appended to the log,
//   3. of a log that is too long, the newer half is copied and renamed over it,
//   4. and the buffer is cleared.
// Between 2 and 4 the same text is in both files, and in 2 a part of it. There is no lock to
// ask, so what is in both is found by comparing: lines carry their time, and so differ.
//
// Threads: one at a time.
// Owner:   anyone. It opens the files for reading, for the length of a call, and maps nothing.
// Errors:  files that are missing or not readable count as empty.
class LogReader {
 public:
  explicit LogReader(std::string log_path);

  [[nodiscard]] const std::string& path() const { return path_; }

  // What has come since the last call, and all that there is at the first. A log that was cut
  // meanwhile gives nothing twice; one that was replaced gives all of it.
  std::string ReadNewText();
  // The rest of a line that a cut has gone through is left out, if the log is being followed.
  std::vector<LogMessage> ReadNewMessages();
  // Skips what the log has now.
  void SkipToEnd() { ReadNewText(); }

 private:
  struct Look;

  [[nodiscard]] Look LookAtFiles() const;
  // The number of bytes of the look's text that have been given out before.
  [[nodiscard]] size_t KnownBytes(const Look& look, const std::string& text) const;

  const std::string path_;
  bool follows_ = false;  // not the first look
  uint64_t inode_ = 0;
  uint64_t offset_ = 0;  // in the log file; all before it has been given out
  std::string before_;   // the last of what stood before `offset_`
  std::string given_;    // what has been returned of the bytes after it, buffer included
};

// The first of a log's two files that is there but may not be opened; empty if there is none.
std::string FindRefusedFile(const std::string& log_path);

// The logs of a client's data folder, or of a folder nearer to one, in order of their names. Until
// the first flush of a log there is a buffer alone; it counts.
std::vector<std::string> FindLogs(const std::string& folder);

}  // namespace log_reader
