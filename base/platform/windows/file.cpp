#include "base/platform/file.h"

#include <windows.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "base/platform/file_faults_for_test.h"
#include "base/platform/windows/file_handle.h"
#include "base/platform/windows/owner_only.h"
#include "base/platform/windows/wide_path.h"
#include "base/platform/windows/wide_text.h"

namespace zo_base {
namespace {

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

// FileRenameInfoEx, which the headers have for later versions of the system only.
constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);

// Renames even over a file that a reader has open, which MoveFileExW refuses. Fails on a system
// that doesn't know this, such as Wine, and on other file systems than NTFS.
bool ReplaceOpenFile(const std::wstring& from, const std::wstring& to) {
  const size_t name_bytes = to.size() * sizeof(wchar_t);
  std::vector<char> buffer(sizeof(FILE_RENAME_INFO) + name_bytes);  // zeros, the last unit included
  auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
  info->Flags = FILE_RENAME_FLAG_REPLACE_IF_EXISTS | FILE_RENAME_FLAG_POSIX_SEMANTICS;
  info->FileNameLength = static_cast<DWORD>(name_bytes);
  std::copy(to.begin(), to.end(), info->FileName);
  const HANDLE file =
      CreateFileW(from.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  const bool is_renamed =
      SetFileInformationByHandle(file, kRenameInfoEx, info, static_cast<DWORD>(buffer.size())) != 0;
  CloseHandle(file);
  return is_renamed;
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  const std::wstring full = FullPath(Wide(path));
  return full.empty() ? path : Utf8(full);
}

bool FolderExists(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(WidePath(path).c_str());
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
        CreateDirectoryW(WidePath(folder).c_str(), owner_only.get()) != 0 || FolderExists(folder);
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
      GetFileAttributesExW(WidePath(path).c_str(), GetFileExInfoStandard, &data) == 0 ||
      (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return std::nullopt;
  }
  return (uint64_t{data.nFileSizeHigh} << 32U) | data.nFileSizeLow;
}

bool RemoveFile(const std::string& path) {
  return !FileCallFails() && DeleteFileW(WidePath(path).c_str()) != 0;
}

bool RenameFile(const std::string& from, const std::string& to) {
  if (FileCallFails()) {
    return false;
  }
  const std::wstring wide_from = WidePath(from);
  const std::wstring wide_to = WidePath(to);
  return ReplaceOpenFile(wide_from, wide_to) ||
         MoveFileExW(wide_from.c_str(), wide_to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

// Shares everything: another process of the same client, or a tool that reads the log, may have the
// file open.
File::File(const std::string& path, Mode mode) {
  if (!FileCallFails()) {
    const auto [access, disposition] = OpenModeOf(mode);
    std::optional<OwnerOnly> owner_only;
    if (disposition != OPEN_EXISTING) {
      owner_only.emplace();
    }
    handle_ = reinterpret_cast<intptr_t>(CreateFileW(
        WidePath(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        owner_only ? owner_only->get() : nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
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
