#include "lab/data_folder.h"

#include <openssl/evp.h>

#include <array>
#include <filesystem>

namespace lab {
namespace {

constexpr char kBuiltInBusiness[] = "im_g1";

std::string HexMd5(const std::string& text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_md5(), nullptr);
  std::string hex;
  for (unsigned int i = 0; i < size; ++i) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += {kDigits[digest.at(i) >> 4], kDigits[digest.at(i) & 15]};
  }
  return hex;
}

}  // namespace

std::string DataFolder(const std::string& client_folder, const std::string& business) {
  const std::string name = HexMd5(business.empty() ? kBuiltInBusiness : business);
  return (std::filesystem::path(client_folder) / "sturdy_comp" / name / "").string();
}

}  // namespace lab
