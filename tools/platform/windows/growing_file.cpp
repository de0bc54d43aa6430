#include "tools/platform/growing_file.h"

#include <windows.h>

#include <array>
#include <optional>

#include "lab/utf8_path.h"

namespace platform {

namespace {

constexpr size_t kBlockBytes = 65536;

HANDLE HandleOf(intptr_t file) {
  return reinterpret_cast<HANDLE>(file);  // NOLINT(performance-no-int-to-ptr): it was one
}

// Lets others do all that they do with the file. Our library also renames over it, except under
// Wine and on other file systems than NTFS.
HANDLE Open(const std::string& path, DWORD access) {
  return CreateFileW(lab::Utf8Path(path).wstring().c_str(), access,
                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                     FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

// Returns the file's number; empty if it is a folder or a device.
std::optional<uint64_t> InodeOf(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION status{};
  if (GetFileInformationByHandle(file, &status) == 0 ||
      (status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return std::nullopt;
  }
  return (uint64_t{status.nFileIndexHigh} << 32U) | status.nFileIndexLow;
}

}  // namespace

GrowingFile::GrowingFile(const std::string& path) : path_(path) {
  HANDLE const file = Open(path, GENERIC_READ);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    is_refused_ = error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
    return;
  }
  if (const auto inode = InodeOf(file)) {
    inode_ = *inode;
    file_ = reinterpret_cast<intptr_t>(file);
  } else {
    CloseHandle(file);
  }
}

GrowingFile::~GrowingFile() {
  if (file_ != -1) {
    CloseHandle(HandleOf(file_));
  }
}

uint64_t GrowingFile::Size() const {
  LARGE_INTEGER size{};
  return GetFileSizeEx(HandleOf(file_), &size) != 0 ? static_cast<uint64_t>(size.QuadPart) : 0;
}

bool GrowingFile::ReadFrom(uint64_t offset, std::string& text) const {
  std::array<char, kBlockBytes> block;
  while (file_ != -1) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32U);
    DWORD bytes = 0;
    if (ReadFile(HandleOf(file_), block.data(), static_cast<DWORD>(block.size()), &bytes, &place) ==
        0) {
      return GetLastError() == ERROR_HANDLE_EOF;
    }
    if (bytes == 0) {
      return true;
    }
    text.append(block.data(), bytes);
    offset += bytes;
  }
  return true;
}

bool GrowingFile::IsInPlace() const {
  if (is_refused_) {
    return true;
  }
  HANDLE const file = Open(path_, FILE_READ_ATTRIBUTES);
  std::optional<uint64_t> inode;
  if (file != INVALID_HANDLE_VALUE) {
    inode = InodeOf(file);
    CloseHandle(file);
  }
  return inode ? *inode == inode_ : file_ == -1;
}

}  // namespace platform
