#pragma once

#include <string>
#include <string_view>

namespace zo_base {

// Returns a UTF-8 path in the form for the system's calls. A long one is made absolute and gets the
// prefix that lifts the limit of 260 units. A short relative one doesn't, so it fails below a long
// working directory.
// Threads: any.
// Errors:  std::bad_alloc.
std::wstring WidePath(std::string_view utf8);

// Returns the path from the root, with backslashes and without dots; empty on failure.
std::wstring FullPath(const std::wstring& path);

}  // namespace zo_base
