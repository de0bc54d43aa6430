#include "tools/platform/interrupt.h"

#include <signal.h>
#include <time.h>

namespace platform {

namespace {

sigset_t EndingSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

}  // namespace

Interrupt::Interrupt() {
  const sigset_t set = EndingSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool Interrupt::WaitFor(std::chrono::milliseconds limit) {
  const sigset_t set = EndingSignals();
  timespec wait = {};
  wait.tv_sec = limit.count() / 1000;
  wait.tv_nsec = limit.count() % 1000 * 1000000;
  if (sigtimedwait(&set, nullptr, &wait) <= 0) {
    return false;
  }
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  return true;
}

}  // namespace platform
