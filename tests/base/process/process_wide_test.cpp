#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "base/platform/thread.h"
#include "base/process/at_exit.h"
#include "base/process/singleton.h"
#include "base/process/unload_hook.h"
#include "base/sync/once_flag.h"
#include "tests/support/run_threads.h"

namespace zo_base {
namespace {

TEST(OnceFlag, LaterCallersWaitForTheFirst) {
  OnceFlag once;
  int runs = 0;
  RunThreads(4, [&](int) {
    once.Call([&] { ++runs; });
    EXPECT_EQ(runs, 1);
  });
}

TEST(AtExit, CallbacksRunInReverseOrderAndMayRegister) {
  std::string order;
  using Manager = IAtExitManager<SturdyObject>;
  auto manager = Manager::Get();
  EXPECT_EQ(manager, Manager::Get());
  std::shared_ptr<Manager> newer;
  manager->RegisterCallback([](void* text) { *static_cast<std::string*>(text) += "a"; }, &order);
  manager->RegisterCallback([&, ending = manager.get()] {
    ending->RegisterCallback([&] { order += "b"; });
    // A callback may keep a newer manager, which outlives the ending one below it.
    newer = Manager::Get();
    newer->RegisterCallback([&] { order += "d"; });
    order += "c";
  });
  manager->RegisterCallback(std::function<void()>());
  manager.reset();
  EXPECT_EQ(order, "cba");
  EXPECT_EQ(Manager::Get(), newer);
  newer.reset();
  EXPECT_EQ(order, "cbad");
}

class Counted : public Singleton<Counted, SturdyObject, 1> {
 public:
  Counted() {
    if (fail) {
      throw std::runtime_error("no");
    }
    ++alive;
  }
  ~Counted() override { --alive; }

  int level = 0;
  static inline std::atomic<int> alive{0};
  static inline bool fail = false;
};

TEST(Singleton, EndsWithTheManagerAndIsNeverNull) {
  Counted::fail = true;
  EXPECT_THROW(Counted::Instance(), std::runtime_error);
  Counted::fail = false;
  EXPECT_EQ(Counted::Current(), nullptr);
  auto environment = IAtExitManager<SturdyObject>::Get();
  Counted* first = Counted::Instance();
  EXPECT_EQ(first, Counted::Instance());
  first->level = 5;
  environment.reset();
  EXPECT_EQ(Counted::Current(), nullptr);
  environment = IAtExitManager<SturdyObject>::Get();
  EXPECT_EQ(Counted::Instance()->level, 0);
  EXPECT_EQ(first->level, 5);  // a late user can still read the old one
  EXPECT_EQ(Counted::alive, 2);
  environment.reset();
  RunUnloadHooksForTest();
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_NE(Counted::Instance(), nullptr);
}

std::string hooks_run;

TEST(UnloadHook, RunOnceInReverseOrderWhenNoLibraryThreadRuns) {
  AtUnload([] { hooks_run += "a"; });
  void (*twice)() = [] { hooks_run += "b"; };
  AtUnload(twice);
  AtUnload(twice);
  StartThread([] { RunUnloadHooksForTest(); }).join();
  EXPECT_EQ(hooks_run, "");
  RunUnloadHooksForTest();
  RunUnloadHooksForTest();
  EXPECT_EQ(hooks_run, "ba");
}

TEST(PlatformThread, IsKnownWhileItRuns) {
  EXPECT_FALSE(IsLibraryThread());
  StartThread([] {
    EXPECT_TRUE(IsLibraryThread());
    EXPECT_EQ(LiveLibraryThreads(), 1);
    EXPECT_NE(CurrentThreadId(), CurrentProcessId());
  }).join();
  EXPECT_EQ(LiveLibraryThreads(), 0);
}

}  // namespace
}  // namespace zo_base
