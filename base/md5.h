// MD5 as text, for names of folders; it protects nothing.
#pragma once

#include <string>

namespace zo_base {

// 32 lower-case hexadecimal digits. Any thread.
std::string Md5Hex(const std::string& text);

}  // namespace zo_base
