#include "base/platform/md5_digest.h"

#include <windows.h>

// Needs the types of windows.h.
#include <bcrypt.h>

#include <stdexcept>
#include <string>

namespace zo_base {

std::array<uint8_t, 16> Md5Digest(std::string_view bytes) {
  std::array<uint8_t, 16> digest{};
  std::string input(bytes);  // BCryptHash takes no constant bytes
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  NTSTATUS status = BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_MD5_ALGORITHM, nullptr, 0);
  if (BCRYPT_SUCCESS(status)) {
    status = BCryptHash(algorithm, nullptr, 0, reinterpret_cast<PUCHAR>(input.data()),
                        static_cast<ULONG>(input.size()), digest.data(),
                        static_cast<ULONG>(digest.size()));
    BCryptCloseAlgorithmProvider(algorithm, 0);
  }
  if (!BCRYPT_SUCCESS(status)) {
    throw std::runtime_error("MD5: status " + std::to_string(status));
  }
  return digest;
}

}  // namespace zo_base
