// MD5 for names of folders. It protects nothing.
#pragma once

#include <string>

namespace zo_base {

// Returns 32 lower-case hexadecimal digits. Any thread.
std::string Md5Hex(const std::string& text);

}  // namespace zo_base
