#include "lab/temp_folder.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace lab {

TempFolder::TempFolder()
    : path_((std::filesystem::temp_directory_path() / "sturdy_test_XXXXXX").string()) {
  if (::mkdtemp(path_.data()) == nullptr) {
    throw std::runtime_error("no temporary folder at " + path_);
  }
}

TempFolder::~TempFolder() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

}  // namespace lab
