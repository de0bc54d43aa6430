#include "tools/platform/growing_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace platform {

namespace {

constexpr size_t kBlockBytes = 65536;

int Descriptor(intptr_t file) {
  return static_cast<int>(file);
}

}  // namespace

GrowingFile::GrowingFile(const std::string& path) : path_(path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) {
    is_refused_ = errno != ENOENT;
    return;
  }
  struct stat status = {};
  if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    inode_ = status.st_ino;
    file_ = descriptor;
  } else {
    ::close(descriptor);
  }
}

GrowingFile::~GrowingFile() {
  if (file_ >= 0) {
    ::close(Descriptor(file_));
  }
}

uint64_t GrowingFile::Size() const {
  struct stat status = {};
  return ::fstat(Descriptor(file_), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

bool GrowingFile::ReadFrom(uint64_t offset, std::string& text) const {
  std::array<char, kBlockBytes> block;
  ssize_t bytes = 0;
  while (file_ >= 0 && (bytes = ::pread(Descriptor(file_), block.data(), block.size(),
                                        static_cast<off_t>(offset))) > 0) {
    text.append(block.data(), static_cast<size_t>(bytes));
    offset += static_cast<uint64_t>(bytes);
  }
  return bytes == 0;
}

bool GrowingFile::IsInPlace() const {
  if (is_refused_) {
    return true;
  }
  struct stat status = {};
  const bool exists = ::stat(path_.c_str(), &status) == 0;
  return exists && S_ISREG(status.st_mode) ? status.st_ino == inode_ : file_ < 0;
}

}  // namespace platform
