#include "tools/log_reader/growing_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace log_reader {

namespace {

constexpr size_t kBlockBytes = 65536;

}  // namespace

GrowingFile::GrowingFile(const std::string& path)
    : path_(path), descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat status = {};
  if (descriptor_ < 0) {
    is_refused_ = errno != ENOENT;
    return;
  }
  if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) {
    inode_ = status.st_ino;
  } else {
    ::close(std::exchange(descriptor_, -1));
  }
}

GrowingFile::~GrowingFile() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
}

uint64_t GrowingFile::Size() const {
  struct stat status = {};
  return ::fstat(descriptor_, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

bool GrowingFile::ReadFrom(uint64_t offset, std::string& text) const {
  std::array<char, kBlockBytes> block;
  ssize_t bytes = 0;
  while (descriptor_ >= 0 && (bytes = ::pread(descriptor_, block.data(), block.size(),
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
  return exists && S_ISREG(status.st_mode) ? status.st_ino == inode_ : descriptor_ < 0;
}

}  // namespace log_reader
