#pragma once

#include <clocale>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

// Returns what belongs to the host: its locale, its folder, and whether it handles SIGPIPE.
inline std::string HostState() {
  struct sigaction now {};
  sigaction(SIGPIPE, nullptr, &now);
  return std::string(std::setlocale(LC_ALL, nullptr)) + " " +
         std::filesystem::current_path().string() + (now.sa_handler == SIG_DFL ? "" : " SIGPIPE");
}

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
