#include "base/platform/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <csignal>
#include <set>

#include "base/unload_hook.h"

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

bool hook_ran = false;

TEST(PlatformThread, LeavesSignalsToTheHostAndIsKnown) {
  const std::set<int> before = OpenSignals();
  EXPECT_FALSE(IsLibraryThread());
  EXPECT_EQ(LiveLibraryThreads(), 0);
  std::set<int> open;
  char name[16] = "";
  AtUnload([] { hook_ran = true; });
  StartThread([&] {
    EXPECT_TRUE(IsLibraryThread());
    EXPECT_EQ(LiveLibraryThreads(), 1);
    EXPECT_NE(CurrentThreadId(), CurrentProcessId());
    SetCurrentThreadName("http dns manager");
    pthread_getname_np(pthread_self(), name, sizeof name);
    open = OpenSignals();
    RunUnloadHooksForTest();
    EXPECT_FALSE(hook_ran);
  }).join();
  EXPECT_STREQ(name, "http dns manage");
  EXPECT_EQ(open, (std::set<int>{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGKILL,
                                 SIGSTOP}));
  EXPECT_EQ(OpenSignals(), before);
  EXPECT_EQ(LiveLibraryThreads(), 0);
  RunUnloadHooksForTest();
  EXPECT_TRUE(hook_ran);
}

}  // namespace
}  // namespace zo_base
