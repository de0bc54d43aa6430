#pragma once

#include <array>
#include <string>

namespace lab {

std::array<unsigned char, 16> Md5(const std::string& text);

}  // namespace lab
