#include "lab/temp_folder.h"

#include <filesystem>
#include <random>
#include <system_error>

namespace lab {

std::string MakeTempFolder(const std::string& parent, const std::string& prefix) {
  std::random_device random;
  for (;;) {
    const auto path = std::filesystem::path(parent) / (prefix + std::to_string(random()));
    if (std::filesystem::create_directory(path)) {  // false if it is there already
      std::filesystem::permissions(path, std::filesystem::perms::owner_all);
      return path.string();
    }
  }
}

std::string SystemTempFolder() {
  return std::filesystem::temp_directory_path().string();
}

TempFolder::~TempFolder() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

}  // namespace lab
