#pragma once

#include <cstdint>
#include <string>

namespace platform {

// A file that another process writes, open for reading. A folder or a device isn't opened.
// Threads: one.
// Owner:   anyone; keeps a copy of the path, and the file open until its end.
// Errors:  a file that can't be opened counts as empty.
class GrowingFile {
 public:
  explicit GrowingFile(const std::string& path);
  ~GrowingFile();
  GrowingFile(const GrowingFile&) = delete;
  GrowingFile& operator=(const GrowingFile&) = delete;

  // Returns the number that its volume knows the file by.
  [[nodiscard]] uint64_t inode() const { return inode_; }
  // Returns whether the path exists and the system refuses to open it.
  [[nodiscard]] bool is_refused() const { return is_refused_; }
  [[nodiscard]] uint64_t Size() const;
  // Appends all that follows `offset`; false if a read failed.
  bool ReadFrom(uint64_t offset, std::string& text) const;
  // Returns whether the path still leads to this file. True for a refused file, so that nobody
  // waits for it: it may never open.
  [[nodiscard]] bool IsInPlace() const;

 private:
  const std::string path_;
  intptr_t file_ = -1;  // a descriptor, on Windows a handle; -1 without a file
  bool is_refused_ = false;
  uint64_t inode_ = 0;
};

}  // namespace platform
