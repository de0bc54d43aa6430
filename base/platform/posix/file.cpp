#include "base/platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/filesystem.h"
#include "base/platform/file_faults_for_test.h"

namespace zo_base {
namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

// Repeats a call that a signal has interrupted.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

int DescriptorOf(const File& file) {
  return static_cast<int>(file.handle());
}

int OpenFlags(File::Mode mode) {
  switch (mode) {
    case File::Mode::kRead:
      return O_RDONLY;
    case File::Mode::kWriteNew:
      return O_WRONLY | O_CREAT | O_TRUNC;
    case File::Mode::kAppend:
      return O_WRONLY | O_CREAT | O_APPEND;
    case File::Mode::kReadWrite:
      break;
  }
  return O_RDWR | O_CREAT;
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(path, error);
  return error ? path : absolute.string();
}

bool FolderExists(const std::string& path) {
  std::error_code error;
  return fs::is_directory(fs::path(path), error);
}

// Creates folder by folder, since create_directories takes no mode: a folder would be open to
// others until its mode is changed.
bool CreateFolders(const std::string& path) {
  for (size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    if (FileCallFails()) {
      return false;
    }
    const std::string folder = path.substr(0, end);
    if (::mkdir(folder.c_str(), kFolderMode) != 0 && !FolderExists(folder)) {
      return false;
    }
    if (end == std::string::npos || end + 1 == path.size()) {
      return true;
    }
  }
}

std::optional<uint64_t> FileSize(const std::string& path) {
  std::error_code error;
  if (FileCallFails()) {
    return std::nullopt;
  }
  const auto size_bytes = fs::file_size(fs::path(path), error);
  if (error) {
    return std::nullopt;
  }
  return size_bytes;
}

bool RemoveFile(const std::string& path) {
  return !FileCallFails() && ::unlink(path.c_str()) == 0;
}

bool RenameFile(const std::string& from, const std::string& to) {
  std::error_code error;
  if (FileCallFails()) {
    return false;
  }
  fs::rename(fs::path(from), fs::path(to), error);
  return !error;
}

File::File(const std::string& path, Mode mode) {
  if (!FileCallFails()) {
    handle_ = Uninterrupted(
        [&] { return ::open(path.c_str(), OpenFlags(mode) | O_CLOEXEC | O_NOCTTY, kFileMode); });
  }
}

File::~File() {
  if (IsOpen()) {
    ::close(DescriptorOf(*this));
  }
}

std::optional<uint64_t> File::Size() const {
  struct stat status {};
  if (!IsOpen() || FileCallFails() || ::fstat(DescriptorOf(*this), &status) != 0) {
    return std::nullopt;
  }
  return static_cast<uint64_t>(status.st_size);
}

bool File::SeekTo(uint64_t offset_bytes) {
  return IsOpen() && !FileCallFails() &&
         ::lseek(DescriptorOf(*this), static_cast<off_t>(offset_bytes), SEEK_SET) >= 0;
}

std::optional<size_t> File::Read(char* out, size_t limit_bytes) {
  if (!IsOpen() || FileCallFails()) {
    return std::nullopt;
  }
  const ssize_t read_bytes =
      Uninterrupted([&] { return ::read(DescriptorOf(*this), out, limit_bytes); });
  if (read_bytes < 0) {
    return std::nullopt;
  }
  return static_cast<size_t>(read_bytes);
}

bool File::Write(std::string_view text) {
  if (!IsOpen()) {
    return false;
  }
  const bool fails = WriteFails();
  std::string_view rest = fails ? text.substr(0, text.size() / 2) : text;
  while (!rest.empty()) {
    const ssize_t written_bytes =
        Uninterrupted([&] { return ::write(DescriptorOf(*this), rest.data(), rest.size()); });
    if (written_bytes <= 0) {
      return false;
    }
    rest.remove_prefix(static_cast<size_t>(written_bytes));
  }
  if (fails) {
    KillIfAsked();
  }
  return !fails;
}

bool File::ReserveBlocks(uint64_t size_bytes) {
  if (!IsOpen() || FileCallFails()) {
    return false;
  }
  int error = EINTR;
  while (error == EINTR) {
    error = ::posix_fallocate(DescriptorOf(*this), 0, static_cast<off_t>(size_bytes));
  }
  return error == 0;
}

}  // namespace zo_base
