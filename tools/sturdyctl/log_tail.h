#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sturdyctl {

// Follows the log of a running client: the log file, and behind it the live buffer
// (`<log>.qel_mmap`: four bytes of length, little-endian, then the text).
// Threads: one at a time.
// Errors:  files that are missing or not readable count as empty.
class LogTail {
 public:
  explicit LogTail(std::string log_path);

  const std::string& path() const { return path_; }
  // Forgets what stands in the log now.
  void SkipToEnd();
  // Complete lines that have come since the last call, without their line ends.
  std::vector<std::string> ReadNewLines();

 private:
  std::string ReadNewText();

  const std::string path_;
  uint64_t file_offset_ = 0;    // bytes of the log file that have been read
  uint64_t buffer_offset_ = 0;  // bytes of the live buffer that have been read
  std::string unfinished_;      // begin of a line whose end hasn't come yet
};

}  // namespace sturdyctl
