#include "base/platform/file.h"

#include <windows.h>

#include <algorithm>
#include <limits>

#include "base/platform/file_faults_for_test.h"
#include "base/platform/windows/owner_only.h"
#include "base/platform/windows/wide_text.h"

namespace zo_base {
namespace {

HANDLE HandleOf(const File& file) {
  return reinterpret_cast<HANDLE>(file.handle());  // NOLINT(performance-no-int-to-ptr)
}

struct OpenMode {
  DWORD access;
  DWORD disposition;
};

OpenMode OpenModeOf(File::Mode mode) {
  switch (mode) {
    case File::Mode::kRead:
      return {GENERIC_READ, OPEN_EXISTING};
    case File::Mode::kWriteNew:
      return {GENERIC_WRITE, CREATE_ALWAYS};
    case File::Mode::kAppend:
      return {FILE_APPEND_DATA | SYNCHRONIZE, OPEN_ALWAYS};
    case File::Mode::kReadWrite:
      break;
  }
  return {GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS};
}

// The most that one call reads or writes.
DWORD PieceBytes(size_t bytes) {
  return static_cast<DWORD>(std::min<size_t>(bytes, std::numeric_limits<int32_t>::max()));
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  const std::wstring wide = Wide(path);
  // Without room it returns the units that it needs, its NUL included.
  std::wstring absolute(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
  const DWORD units =
      GetFullPathNameW(wide.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr);
  if (units == 0 || units >= absolute.size()) {
    return path;
  }
  absolute.resize(units);
  return Utf8(absolute);
}

bool FolderExists(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(Wide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool CreateFolders(const std::string& path) {
  OwnerOnly owner_only;
  for (size_t end = path.find_first_of("/\\", 1);; end = path.find_first_of("/\\", end + 1)) {
    if (FileCallFails()) {
      return false;
    }
    const std::string folder = path.substr(0, end);
    const bool exists =
        CreateDirectoryW(Wide(folder).c_str(), owner_only.get()) != 0 || FolderExists(folder);
    // A drive, a server or a share alone can't be created, and may look absent. So the last one
    // tells.
    if (end == std::string::npos || end + 1 == path.size()) {
      return exists;
    }
  }
}

std::optional<uint64_t> FileSize(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (FileCallFails() ||
      GetFileAttributesExW(Wide(path).c_str(), GetFileExInfoStandard, &data) == 0 ||
      (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return std::nullopt;
  }
  return (uint64_t{data.nFileSizeHigh} << 32U) | data.nFileSizeLow;
}

bool RemoveFile(const std::string& path) {
  return !FileCallFails() && DeleteFileW(Wide(path).c_str()) != 0;
}

bool RenameFile(const std::string& from, const std::string& to) {
  return !FileCallFails() &&
         MoveFileExW(Wide(from).c_str(), Wide(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

// Shares everything: another process of the same client, or a tool that reads the log, may have the
// file open.
File::File(const std::string& path, Mode mode) {
  if (!FileCallFails()) {
    const auto [access, disposition] = OpenModeOf(mode);
    OwnerOnly owner_only;
    handle_ = reinterpret_cast<intptr_t>(CreateFileW(
        Wide(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        owner_only.get(), disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
  }
}

File::~File() {
  if (IsOpen()) {
    CloseHandle(HandleOf(*this));
  }
}

std::optional<uint64_t> File::Size() const {
  LARGE_INTEGER size{};
  if (!IsOpen() || FileCallFails() || GetFileSizeEx(HandleOf(*this), &size) == 0) {
    return std::nullopt;
  }
  return static_cast<uint64_t>(size.QuadPart);
}

bool File::SeekTo(uint64_t offset_bytes) {
  LARGE_INTEGER offset{};
  offset.QuadPart = static_cast<LONGLONG>(offset_bytes);
  return IsOpen() && !FileCallFails() &&
         SetFilePointerEx(HandleOf(*this), offset, nullptr, FILE_BEGIN) != 0;
}

std::optional<size_t> File::Read(char* out, size_t limit_bytes) {
  DWORD read_bytes = 0;
  if (!IsOpen() || FileCallFails() ||
      ReadFile(HandleOf(*this), out, PieceBytes(limit_bytes), &read_bytes, nullptr) == 0) {
    return std::nullopt;
  }
  return read_bytes;
}

bool File::Write(std::string_view text) {
  if (!IsOpen()) {
    return false;
  }
  const bool fails = WriteFails();
  std::string_view rest = fails ? text.substr(0, text.size() / 2) : text;
  while (!rest.empty()) {
    DWORD written_bytes = 0;
    if (WriteFile(HandleOf(*this), rest.data(), PieceBytes(rest.size()), &written_bytes, nullptr) ==
            0 ||
        written_bytes == 0) {
      return false;
    }
    rest.remove_prefix(written_bytes);
  }
  if (fails) {
    KillIfAsked();
  }
  return !fails;
}

// The system reserves the blocks of a file's whole length.
bool File::ReserveBlocks(uint64_t size_bytes) {
  const auto had_bytes = Size();
  if (!had_bytes || *had_bytes >= size_bytes) {
    return had_bytes.has_value();
  }
  return SeekTo(size_bytes) && SetEndOfFile(HandleOf(*this)) != 0;
}

}  // namespace zo_base
