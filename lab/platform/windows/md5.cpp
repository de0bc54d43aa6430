#include "lab/platform/md5.h"

#include <windows.h>

// Needs the types of windows.h.
#include <bcrypt.h>

namespace lab {

std::array<unsigned char, 16> Md5(const std::string& text) {
  std::array<unsigned char, 16> digest{};
  std::string bytes = text;  // BCryptHash takes no constant bytes
  BCRYPT_ALG_HANDLE md5 = nullptr;
  BCryptOpenAlgorithmProvider(&md5, BCRYPT_MD5_ALGORITHM, nullptr, 0);
  BCryptHash(md5, nullptr, 0, reinterpret_cast<PUCHAR>(bytes.data()),
             static_cast<ULONG>(bytes.size()), digest.data(), static_cast<ULONG>(digest.size()));
  BCryptCloseAlgorithmProvider(md5, 0);
  return digest;
}

}  // namespace lab
