#include "tools/platform/files.h"

#include <windows.h>

#include "lab/utf8_path.h"

namespace platform {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

}  // namespace

// An attempt to open the file alone would tell, but could keep a client that starts from its log.
bool IsMapped(const std::string& /*path*/) {
  return false;
}

bool MayWrite(const std::string& path) {
  const std::wstring wide = lab::Utf8Path(path).wstring();
  const DWORD attributes = GetFileAttributesW(wide.c_str());
  const bool is_folder =
      attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  // A folder is opened for what creates a file in it.
  HANDLE const file =
      CreateFileW(wide.c_str(), is_folder ? FILE_ADD_FILE : GENERIC_WRITE, kShareAll, nullptr,
                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  }
  CloseHandle(file);
  return true;
}

// The folder is one that the library made for its owner alone, and passes that on.
bool WriteNewFile(const std::string& path, const std::string& text) {
  HANDLE const file =
      CreateFileW(lab::Utf8Path(path).wstring().c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  DWORD written = 0;
  const BOOL done =
      WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  return CloseHandle(file) != 0 && done != 0 && written == text.size();
}

}  // namespace platform
