#include "base/md5.h"

// The one-shot call doesn't initialize the crypto library: it reads no configuration file,
// registers no exit handler, and works in a host in FIPS mode too.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <array>

namespace zo_base {

std::string Md5Hex(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<unsigned char, MD5_DIGEST_LENGTH> digest{};
  MD5(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
  std::string hex;
  for (const unsigned char byte : digest) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 0x0f];
  }
  return hex;
}

}  // namespace zo_base
