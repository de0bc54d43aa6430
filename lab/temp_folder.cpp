#include "lab/temp_folder.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace lab {

std::string MakeTempFolder(const std::string& parent, const std::string& prefix) {
  std::string path = (std::filesystem::path(parent) / (prefix + "XXXXXX")).string();
  if (::mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error("no temporary folder can be made: " + path);
  }
  return path;
}

std::string SystemTempFolder() {
  return std::filesystem::temp_directory_path().string();
}

TempFolder::~TempFolder() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

}  // namespace lab
