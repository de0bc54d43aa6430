#pragma once

#include <cstdint>
#include <string>

namespace zo_base {

// Maps a whole file for reading and writing, shared with the disk: the stored bytes survive the
// process. Reserves the file's blocks first, since a later store without space on the disk would
// kill the process.
// Threads: one at a time, under the owner's mutex.
// Owner:   MappedLogBuffer; the mapping ends with the object.
// Errors:  Map returns false and leaves nothing mapped. std::bad_alloc is the only exception.
class MappedFile {
 public:
  MappedFile() = default;
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  // Opens or creates the file, extends it to `size_bytes` if it is shorter, and maps that many
  // bytes. Keeps no file open.
  // Requires: `path` is absolute, or the working directory stays.
  bool Map(const std::string& path, uint32_t size_bytes);
  void Unmap();
  // Blocks until the stored bytes are on the disk. Reports no failure.
  void FlushToDisk();

  [[nodiscard]] char* view() const { return view_; }
  // Returns whether the file had no bytes before Map.
  [[nodiscard]] bool WasEmpty() const { return was_empty_; }

 private:
  char* view_ = nullptr;
  std::string path_;  // for a flush, where that needs an open file
  uint32_t size_bytes_ = 0;
  bool was_empty_ = false;
};

}  // namespace zo_base
