#include "base/platform/windows/wide_path.h"

#include <windows.h>

#include "base/platform/windows/wide_text.h"

namespace zo_base {
namespace {

// A folder must leave room for a short file name, so its limit is lower.
constexpr size_t kFolderLimitUnits = MAX_PATH - 12;

}  // namespace

std::wstring WidePath(std::string_view utf8) {
  std::wstring path = Wide(utf8);
  if (path.size() < kFolderLimitUnits || path.rfind(L"\\\\?\\", 0) == 0) {
    return path;
  }
  // The prefix switches off what the system does to a path, so do it first.
  const std::wstring full = FullPath(path);
  if (full.empty()) {
    return path;
  }
  const bool is_share = full.rfind(L"\\\\", 0) == 0;
  return is_share ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

std::wstring FullPath(const std::wstring& path) {
  // Without room it returns the units that it needs, its NUL included.
  std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  const auto room_units = static_cast<DWORD>(full.size());
  const DWORD units = GetFullPathNameW(path.c_str(), room_units, full.data(), nullptr);
  full.resize(units < room_units ? units : 0);
  return full;
}

}  // namespace zo_base
