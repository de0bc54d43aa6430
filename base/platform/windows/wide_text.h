#pragma once

#include <string>
#include <string_view>

// Converts between UTF-8 and the system's UTF-16. Bytes that aren't UTF-8 become U+FFFD.
// Threads: any; pure.
// Errors:  std::bad_alloc.
namespace zo_base {

std::wstring Wide(std::string_view utf8);
std::string Utf8(std::wstring_view wide);

}  // namespace zo_base
