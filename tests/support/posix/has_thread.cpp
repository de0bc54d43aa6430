#include "tests/support/posix/has_thread.h"

#include <filesystem>
#include <fstream>

bool HasThread(const std::string& name) {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string line;
    std::getline(std::ifstream(task.path() / "comm") >> std::ws, line);
    if (line == name.substr(0, 15)) {
      return true;
    }
  }
  return false;
}
