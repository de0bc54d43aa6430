#pragma once

#include <stdexcept>

namespace sturdyctl {

// An invalid command line. what() is one sentence for the user. The exit code is 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The exit codes of every command.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

}  // namespace sturdyctl
