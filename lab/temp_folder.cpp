#include "lab/temp_folder.h"

#include <filesystem>
#include <random>
#include <system_error>
#include <vector>

#include "lab/utf8_path.h"

namespace lab {

std::string MakeTempFolder(const std::string& parent, const std::string& prefix) {
  std::random_device random;
  for (;;) {
    const auto path = Utf8Path(parent) / (prefix + std::to_string(random()));
    if (std::filesystem::create_directory(path)) {  // false if it is there already
      std::filesystem::permissions(path, std::filesystem::perms::owner_all);
      return path.generic_string();
    }
  }
}

std::string SystemTempFolder() {
  return std::filesystem::temp_directory_path().generic_string();
}

// On Windows a file that is in use can't be removed, and the remove_all of GCC 12 would try for
// ever.
TempFolder::~TempFolder() {
  namespace fs = std::filesystem;
  std::error_code error;
  std::vector<fs::path> entries = {Utf8Path(path_)};  // each folder before its content
  for (fs::recursive_directory_iterator it(entries[0], error), end; it != end;
       it.increment(error)) {
    entries.push_back(it->path());
  }
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    fs::remove(*entry, error);
  }
}

}  // namespace lab
