#pragma once

#include <string>
#include <string_view>

namespace zo_base {

// Returns a UTF-8 path in the form for the system's calls. A long one gets the prefix that lifts
// the limit of 260 units; it must be absolute, since the system adds no folder to such a path.
// Threads: any.
// Errors:  std::bad_alloc.
std::wstring WidePath(std::string_view utf8);

// Returns the path from the root, with backslashes and without dots; empty on failure.
std::wstring FullPath(const std::wstring& path);

}  // namespace zo_base
