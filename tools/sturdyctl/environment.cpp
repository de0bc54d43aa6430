#include "tools/sturdyctl/environment.h"

#include <openssl/evp.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>

namespace sturdyctl {

namespace {

constexpr int kEnvironmentId = 1;

std::string TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "sturdyctl-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary folder can be made: " + name);
  }
  return name;
}

}  // namespace

std::string DataFolder(const std::string& client_folder, const std::string& business) {
  const std::string name = business.empty() ? "im_g1" : business;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(name.data(), name.size(), digest, &size, EVP_md5(), nullptr);
  std::string hex;
  for (unsigned int i = 0; i < size; ++i) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += {kDigits[digest[i] >> 4], kDigits[digest[i] & 15]};
  }
  return (std::filesystem::path(client_folder) / "sturdy_comp" / hex).string();
}

Environment::Environment(const ClientOptions& options)
    : client_folder_(options.data_folder.empty() ? TemporaryFolder() : options.data_folder),
      log_(DataFolder(client_folder_, options.business) + "/sturdy_comp.log") {
  const auto record = options.EnvironmentRecord(client_folder_);
  log_.SkipToEnd();
  object_ = zo_sturdy::GetSturdyObject(zo_sturdy::StartSturdyEnvironment(record));
  if (object_ == nullptr) {
    throw std::runtime_error("the environment did not start");
  }
}

Environment::~Environment() {
  zo_sturdy::ExitSturdyEnvironment(kEnvironmentId);
}

}  // namespace sturdyctl
