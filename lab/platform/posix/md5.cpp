#include "lab/platform/md5.h"

#include <openssl/evp.h>

namespace lab {

std::array<unsigned char, 16> Md5(const std::string& text) {
  std::array<unsigned char, 16> digest{};
  EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_md5(), nullptr);
  return digest;
}

}  // namespace lab
