// Every file call of the library. Paths are UTF-8.
// Threads: any; a File belongs to one thread at a time.
// Errors:  reported by the result, never by an exception.
// Access:  files are made 0600, folders 0700, descriptors close-on-exec.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zo_base {

[[nodiscard]] bool FileExists(const std::string& path);
[[nodiscard]] bool FolderExists(const std::string& path);
// Makes the folder with all its parents; true if it is there afterwards.
bool CreateFolders(const std::string& path);
// Empty if there is no such file.
[[nodiscard]] std::optional<uint64_t> FileSize(const std::string& path);
bool RemoveFile(const std::string& path);
// Replaces `to` if it exists; at no instant is there no `to`.
bool RenameFile(const std::string& from, const std::string& to);

// The whole text; empty if the file is absent, unreadable or longer than the limit.
[[nodiscard]] std::string ReadWholeFile(const std::string& path, size_t limit_bytes);
// The first bytes of the file, at most the limit; empty if it is absent or unreadable.
[[nodiscard]] std::string ReadFilePrefix(const std::string& path, size_t limit_bytes);
// Writes in place: a failure in between leaves the file cut short.
bool WriteWholeFile(const std::string& path, std::string_view text);
bool AppendToFile(const std::string& path, std::string_view text);

// An open file, for what the functions above don't cover.
class File {
 public:
  enum class Mode {
    kRead,       // the file must exist
    kWriteNew,   // made, or emptied
    kAppend,     // made if absent
    kReadWrite,  // made if absent, kept otherwise
  };

  File() = default;
  File(const std::string& path, Mode mode);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
  [[nodiscard]] std::optional<uint64_t> Size() const;
  bool SeekTo(uint64_t offset_bytes);
  // The number of bytes read, 0 at the end of the file; empty on failure.
  [[nodiscard]] std::optional<size_t> Read(char* out, size_t limit_bytes);
  // True once all of it is written; a failure can leave a part of it in the file.
  bool Write(std::string_view text);
  // Extends the file to at least this size and gives all of that its blocks on the disk.
  bool ReserveBlocks(uint64_t size_bytes);
  [[nodiscard]] int descriptor() const { return descriptor_; }

 private:
  int descriptor_ = -1;
};

}  // namespace zo_base
