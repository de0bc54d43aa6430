// All file calls of the library. Paths are UTF-8.
// Threads: any; one thread at a time uses a File.
// Errors:  by result; std::bad_alloc is the only exception.
// Access:  new files have the mode 0600, new folders 0700; on Windows only the process's user and
//          the system get access. No child process inherits what is open.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zo_base {

// Returns the path from the root; `path` itself if the working directory has been deleted.
[[nodiscard]] std::string AbsolutePath(const std::string& path);
[[nodiscard]] bool FolderExists(const std::string& path);
// Creates the folder with all its parents. Returns true if it exists afterwards.
bool CreateFolders(const std::string& path);
// Returns the size in bytes; empty if there is no such file.
[[nodiscard]] std::optional<uint64_t> FileSize(const std::string& path);
bool RemoveFile(const std::string& path);
// Replaces `to` if it exists. `to` exists at every moment.
bool RenameFile(const std::string& from, const std::string& to);

// Returns at most `limit_bytes` from the file's begin; empty if it is absent or unreadable.
[[nodiscard]] std::string ReadFilePrefix(const std::string& path, size_t limit_bytes);
// Writes in place: after a failure a part of the text is missing.
bool WriteWholeFile(const std::string& path, std::string_view text);
bool AppendToFile(const std::string& path, std::string_view text);

// An open file, for the cases that the functions above don't cover.
class File {
 public:
  enum class Mode {
    kRead,       // the file must exist
    kWriteNew,   // creates or empties the file
    kAppend,     // creates the file if absent
    kReadWrite,  // creates the file if absent
  };

  File() = default;
  File(const std::string& path, Mode mode);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] bool IsOpen() const { return handle_ != kNoHandle; }
  [[nodiscard]] std::optional<uint64_t> Size() const;
  bool SeekTo(uint64_t offset_bytes);
  // Returns the number of bytes read, 0 at the end of the file; empty on failure.
  [[nodiscard]] std::optional<size_t> Read(char* out, size_t limit_bytes);
  // Returns true if it has written all of it; a failure can leave a part in the file.
  bool Write(std::string_view text);
  // Extends the file to at least this size and reserves its blocks on the disk.
  bool ReserveBlocks(uint64_t size_bytes);
  // The system's: a descriptor, or what a HANDLE holds.
  [[nodiscard]] intptr_t handle() const { return handle_; }

 private:
  static constexpr intptr_t kNoHandle = -1;  // on each system

  intptr_t handle_ = kNoHandle;
};

}  // namespace zo_base
