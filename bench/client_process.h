#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "lab/child.h"

namespace bench {

// Runs the benchmarks' client as a separate process.
// Threads: any.
// Errors:  Output throws std::runtime_error if the client couldn't be run or has failed.
class ClientProcess {
 public:
  explicit ClientProcess(const std::vector<std::string>& arguments) : child_(Command(arguments)) {}

  // Blocks until the client has ended, and returns what it wrote.
  std::string Output() {
    std::string text = child_.ReadRest();
    if (child_.Wait() != 0) {
      throw std::runtime_error("the client has failed: " + text);
    }
    return text;
  }

 private:
  static std::vector<std::string> Command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {STURDY_BENCH_CLIENT};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
  }

  lab::Child child_;
};

}  // namespace bench
