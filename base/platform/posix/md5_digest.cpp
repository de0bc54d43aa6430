#include "base/platform/md5_digest.h"

// The one-shot call doesn't initialize the crypto library: it reads no configuration file,
// registers no exit handler, and works in a host in FIPS mode too.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

namespace zo_base {

std::array<uint8_t, 16> Md5Digest(std::string_view bytes) {
  std::array<uint8_t, MD5_DIGEST_LENGTH> digest{};
  MD5(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
  return digest;
}

}  // namespace zo_base
