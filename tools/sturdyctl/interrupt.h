#pragma once

#include <chrono>

namespace sturdyctl {

// Ctrl-C and SIGTERM, as something to wait for. Made before any other thread begins, so that all
// of them leave the signals to the one that waits.
// The first ends the wait; from then on a second one ends the process at once.
class Interrupt {
 public:
  Interrupt();

  // True once a signal has come.
  bool WaitFor(std::chrono::milliseconds limit);
};

}  // namespace sturdyctl
