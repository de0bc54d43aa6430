#pragma once

#include <filesystem>
#include <string>

namespace bench {

// Returns a folder on the disk where the program runs. The system's folder for temporary files may
// be in memory, where a flush costs nothing.
inline std::string DiskFolder() {
  return std::filesystem::current_path().string();
}

}  // namespace bench
