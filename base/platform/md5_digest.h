#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace zo_base {

// Returns the MD5 of the bytes, by a library of the system. Any thread. On Windows it throws
// std::runtime_error if the system refuses, which has no other known cause than lack of memory.
std::array<uint8_t, 16> Md5Digest(std::string_view bytes);

}  // namespace zo_base
