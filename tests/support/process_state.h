#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

// Counts the entries of a folder, such as /proc/self/task or /proc/self/fd.
inline int64_t CountEntries(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

// Whether the process has a thread of this name. The system keeps 15 characters of a name.
inline bool HasThread(const std::string& name) {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string line;
    std::getline(std::ifstream(task.path() / "comm") >> std::ws, line);
    if (line == name.substr(0, 15)) {
      return true;
    }
  }
  return false;
}
