#include "base/platform/windows/owner_only.h"

// Needs the types of windows.h.
#include <sddl.h>

#include <string>
#include <vector>

namespace zo_base {
namespace {

// Returns the text of the id of the process's user; empty on failure.
std::wstring CurrentUserId() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
    return {};
  }
  DWORD bytes = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &bytes);
  std::vector<char> user(bytes);
  const bool found = GetTokenInformation(token, TokenUser, user.data(), bytes, &bytes) != 0;
  CloseHandle(token);
  LPWSTR text = nullptr;
  if (!found ||
      ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &text) == 0) {
    return {};
  }
  std::wstring id = text;
  LocalFree(text);
  return id;
}

}  // namespace

OwnerOnly::OwnerOnly() {
  attributes_.nLength = sizeof(attributes_);
  // Protected from what the parent passes on; full access for the user and the system.
  const std::wstring list = L"D:P(A;OICI;FA;;;" + CurrentUserId() + L")(A;OICI;FA;;;SY)";
  ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                       &attributes_.lpSecurityDescriptor, nullptr);
}

OwnerOnly::~OwnerOnly() {
  LocalFree(attributes_.lpSecurityDescriptor);
}

}  // namespace zo_base
