#include "base/md5.h"

#include "base/platform/md5_digest.h"

namespace zo_base {

std::string Md5Hex(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const uint8_t byte : Md5Digest(text)) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 0x0f];
  }
  return hex;
}

}  // namespace zo_base
