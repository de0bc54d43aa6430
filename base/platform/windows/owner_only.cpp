#include "base/platform/windows/owner_only.h"

// Needs the types of windows.h.
#include <sddl.h>

#include <array>
#include <memory>
#include <string>

namespace zo_base {
namespace {

struct LocalFreer {
  void operator()(wchar_t* text) const { LocalFree(text); }
};

// Returns the text of the id of the process's user; empty on failure.
std::wstring CurrentUserId() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
    return {};
  }
  alignas(TOKEN_USER) std::array<char, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user;
  DWORD bytes = 0;
  const bool found = GetTokenInformation(token, TokenUser, user.data(), sizeof(user), &bytes) != 0;
  CloseHandle(token);
  wchar_t* text = nullptr;
  if (!found ||
      ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid, &text) == 0) {
    return {};
  }
  const std::unique_ptr<wchar_t, LocalFreer> owner(text);
  return text;
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
