#pragma once

#include <chrono>

namespace platform {

// How often a command polls the log while it waits for Ctrl-C.
constexpr std::chrono::milliseconds kPollInterval(100);

// Waits for Ctrl-C, or SIGTERM where the system has it. The first signal ends the wait, a
// second one ends the process.
// Threads: one. Create it before any other thread, since threads inherit the block of both signals.
class Interrupt {
 public:
  Interrupt();

  // Returns true as soon as a signal has come, false at the limit.
  bool WaitFor(std::chrono::milliseconds limit);
};

}  // namespace platform
