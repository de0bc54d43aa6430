#pragma once

#include <cstdint>
#include <string>

namespace zo_base {

// A file mapped as a whole for reading and writing, shared with the disk: what is stored in it
// survives the process. Its blocks are reserved when it is mapped, so that a store can't fail for
// want of space later, which would kill the process.
// Threads: one at a time; the owner's mutex.
// Owner:   whoever maps it; the mapping ends with the object.
// Errors:  Map returns false and leaves nothing mapped.
class MappedFile {
 public:
  MappedFile() = default;
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

  // Opens or makes the file, extends it to `size_bytes` if it is shorter, and maps that many bytes.
  // No descriptor stays open.
  bool Map(const std::string& path, uint32_t size_bytes);
  void Unmap();
  // Waits until the stored bytes are on the disk.
  void FlushToDisk();

  [[nodiscard]] char* view() const { return view_; }
  // The file had no bytes before Map.
  [[nodiscard]] bool WasEmpty() const { return was_empty_; }

 private:
  char* view_ = nullptr;
  uint32_t size_bytes_ = 0;
  bool was_empty_ = false;
};

}  // namespace zo_base
