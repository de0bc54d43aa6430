#include "base/platform/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <csignal>
#include <set>

namespace zo_base {
namespace {

std::set<int> OpenSignals() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  std::set<int> open;
  for (int signal = 1; signal < 32; ++signal) {
    if (sigismember(&mask, signal) == 0) {
      open.insert(signal);
    }
  }
  return open;
}

TEST(PlatformThread, LeavesSignalsToTheHostAndHasAName) {
  const std::set<int> before = OpenSignals();
  StartThread([&] {
    SetCurrentThreadName("http dns manager");
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    EXPECT_STREQ(name, "http dns manage");
    EXPECT_EQ(OpenSignals(), (std::set<int>{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP,
                                            SIGSYS, SIGKILL, SIGSTOP}));
  }).join();
  EXPECT_EQ(OpenSignals(), before);
}

}  // namespace
}  // namespace zo_base
