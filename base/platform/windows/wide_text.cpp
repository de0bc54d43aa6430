#include "base/platform/windows/wide_text.h"

#include <windows.h>

namespace zo_base {

std::wstring Wide(std::string_view utf8) {
  const int size = static_cast<int>(utf8.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
  std::wstring wide(static_cast<size_t>(units), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), units);
  return wide;
}

std::string Utf8(std::wstring_view wide) {
  const int units = static_cast<int>(wide.size());
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

}  // namespace zo_base
