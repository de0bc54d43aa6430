#include "lab/data_folder.h"

#include <filesystem>

#include "lab/platform/md5.h"
#include "lab/utf8_path.h"

namespace lab {
namespace {

constexpr char kBuiltInBusiness[] = "im_g1";

std::string HexMd5(const std::string& text) {
  std::string hex;
  for (const unsigned char byte : Md5(text)) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return hex;
}

}  // namespace

std::string DataFolder(const std::string& client_folder, const std::string& business) {
  const std::string name = HexMd5(business.empty() ? kBuiltInBusiness : business);
  return (Utf8Path(client_folder) / "sturdy_comp" / name / "").generic_string();
}

}  // namespace lab
