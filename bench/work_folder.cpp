#include "bench/work_folder.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace bench {

WorkFolder::WorkFolder() : WorkFolder(std::filesystem::current_path().string()) {}

WorkFolder::WorkFolder(const std::string& parent) : path_(parent + "/sturdy_bench.XXXXXX") {
  if (::mkdtemp(path_.data()) == nullptr) {
    throw std::runtime_error("no folder can be made in " + parent);
  }
}

WorkFolder::~WorkFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace bench
