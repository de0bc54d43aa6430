#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

// Whether the process has a thread of this name, of which the system keeps 15 characters.
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

// Waits by looking: nothing tells of the end of a thread or of the state behind an atomic.
template <class Condition>
testing::AssertionResult Comes(const Condition& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return testing::AssertionFailure() << "what was waited for hasn't come";
    }
    std::this_thread::yield();
  }
  return testing::AssertionSuccess();
}
