#include "tools/platform/files.h"

#include <windows.h>

// Needs the types of windows.h.
#include <sddl.h>

#include <array>
#include <memory>

#include "lab/utf8_path.h"

namespace platform {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

struct LocalFreer {
  void operator()(void* block) const { LocalFree(block); }
};

// Returns the text of the id of the process's user; empty on failure.
std::wstring UserId() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
    return {};
  }
  alignas(TOKEN_USER) std::array<char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user;
  DWORD bytes = 0;
  const bool found = GetTokenInformation(token, TokenUser, user.data(),
                                         static_cast<DWORD>(user.size()), &bytes) != 0;
  CloseHandle(token);
  LPWSTR text = nullptr;
  if (!found ||
      ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &text) == 0) {
    return {};
  }
  const std::unique_ptr<wchar_t, LocalFreer> owned(text);
  return text;
}

// Returns the access list of a file that only this user and the system may use; null on failure. It
// takes nothing from the folder's list.
std::unique_ptr<void, LocalFreer> OwnerOnlyList() {
  const std::wstring list = L"D:P(A;;FA;;;" + UserId() + L")(A;;FA;;;SY)";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1, &descriptor,
                                                       nullptr);
  return std::unique_ptr<void, LocalFreer>(descriptor);
}

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

bool WriteNewFile(const std::string& path, const std::string& text) {
  const auto list = OwnerOnlyList();
  SECURITY_ATTRIBUTES attributes{};
  attributes.nLength = sizeof attributes;
  attributes.lpSecurityDescriptor = list.get();
  // Without a list the file would get the folder's.
  HANDLE const file =
      list ? CreateFileW(lab::Utf8Path(path).wstring().c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                         &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)
           : INVALID_HANDLE_VALUE;
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  DWORD written = 0;
  const BOOL done =
      WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  return CloseHandle(file) != 0 && done != 0 && written == text.size();
}

}  // namespace platform
