#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <string>

#include "base/any.h"
#include "base/at_exit.h"
#include "base/once_flag.h"
#include "base/singleton.h"
#include "base/unload_hook.h"
#include "tests/base/run_threads.h"

namespace zo_base {
namespace {

using testing::ElementsAre;

TEST(ZOAny, HoldsOneTypeByValue) {
  ZOAny text(std::string("here"));
  ZOAny copy = text;
  ZOAnyCast<std::string>(copy) += "after";
  EXPECT_EQ(ZOAnyCast<std::string>(std::as_const(text)), "here");
  copy.swap(text);
  EXPECT_EQ(ZOAnyCast<std::string>(text), "hereafter");
  EXPECT_THROW(ZOAnyCast<std::string>(ZOAny(5)), BadZOAnyCast);
  EXPECT_EQ(ZOAny().type(), typeid(void));
  text = ZOAny();
  try {
    ZOAnyCast<std::string>(text);
    FAIL();
  } catch (const std::bad_cast& bad) {
    EXPECT_STREQ(bad.what(), "BadZOAnyCast: failed conversion ZOAnyCast");
  }
}

TEST(OnceFlag, StaysUnsetOnAnExceptionAndCanBeReset) {
  OnceFlag once;
  int runs = 0;
  EXPECT_THROW(once.Call([&] { throw std::runtime_error("no"); }), std::runtime_error);
  once.Call([&] { ++runs; });
  once.Call([&] { ++runs; });
  EXPECT_EQ(runs, 1);
  once.Reset();
  RunThreads(4, [&](int) {
    once.Call([&] { ++runs; });
    EXPECT_EQ(runs, 2);
  });
}

TEST(AtExit, CallbacksRunBackwardsAndMayRegister) {
  std::string order;
  auto manager = IAtExitManager<SturdyObject>::Get();
  EXPECT_EQ(manager, IAtExitManager<SturdyObject>::Get());
  IAtExitManager<SturdyObject>* raw = manager.get();
  manager->RegisterCallback([](void* text) { *static_cast<std::string*>(text) += "a"; }, &order);
  manager->RegisterCallback([&] {
    order += "b";
    raw->RegisterCallback([&] { order += "c"; });
    IAtExitManager<SturdyObject>::Get()->RegisterCallback([&] { order += "nested"; });
  });
  manager->RegisterCallback(std::function<void()>());
  manager.reset();
  EXPECT_EQ(order, "bnestedca");
  // A callback keeps a newer manager, which outlives the ending one below it.
  std::shared_ptr<IAtExitManager<SturdyObject>> newer;
  IAtExitManager<SturdyObject>::Get()->RegisterCallback([&] {
    newer = IAtExitManager<SturdyObject>::Get();
    newer->RegisterCallback([&] { order += "-newer"; });
    order += "-older";
  });
  EXPECT_EQ(order, "bnestedca-older");
  EXPECT_EQ(IAtExitManager<SturdyObject>::Get(), newer);
  newer.reset();
  EXPECT_EQ(order, "bnestedca-older-newer");
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
  bool IsAsNew() override { return level == 0; }

  int level = 0;
  static inline std::atomic<int> alive{0};
  static inline bool fail = false;
};

TEST(Singleton, EndsWithTheManagerAndIsNeverNull) {
  Counted::fail = true;
  EXPECT_THROW(Counted::Instance(), std::runtime_error);
  Counted::fail = false;
  // Outside any environment one object serves all uses.
  for (int i = 0; i < 100; ++i) {
    ASSERT_NE(Counted::Instance(), nullptr);
  }
  EXPECT_EQ(Counted::alive, 1);
  auto environment = IAtExitManager<SturdyObject>::Get();
  Counted* first = Counted::Instance();
  EXPECT_EQ(first, Counted::Instance());
  EXPECT_EQ(Counted::alive, 1);
  first->level = 5;
  environment.reset();
  // A new one, also after an object that was set up outside any environment; the old ones are
  // still good for a late user.
  Counted::Instance()->level = 6;
  environment = IAtExitManager<SturdyObject>::Get();
  EXPECT_EQ(Counted::Instance()->level, 0);
  EXPECT_EQ(first->level, 5);
  EXPECT_EQ(Counted::alive, 3);
  environment.reset();
  RunUnloadHooksForTest();
  EXPECT_EQ(Counted::alive, 0);
  EXPECT_NE(Counted::Instance(), nullptr);
}

std::string hooks_run;

TEST(UnloadHook, RunBackwardsOnceEach) {
  AtUnload([] { hooks_run += "a"; });
  void (*twice)() = [] { hooks_run += "b"; };
  AtUnload(twice);
  AtUnload(twice);
  RunUnloadHooksForTest();
  RunUnloadHooksForTest();
  EXPECT_EQ(hooks_run, "ba");
}

}  // namespace
}  // namespace zo_base
