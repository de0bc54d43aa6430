#include "base/thread/timer.h"

#include <thread>

#include "base/sync/mutex.h"
#include "base/thread/post_task.h"
#include "tests/base/thread/loop_fixture.h"

namespace zo_base {
namespace {

class TimerTest : public LoopFixture {
 protected:
  std::function<void()> Note(const std::string& text) {
    return [this, text] { fired += text; };
  }
  // Also waits for the work that a timer has posted.
  std::string FiredAfter(int64_t ms) {
    Pass(ms);
    std::promise<void> handed;
    PostTo(loop, [&] { handed.set_value(); });
    EXPECT_TRUE(Arrives(handed.get_future()));
    return fired;
  }

  std::string fired;
  Timer timer{loop};
};

TEST_F(TimerTest, StartingAgainCancelsTheLastArmingAndADelayPastTheLimitIsCutToIt) {
  EXPECT_FALSE(timer.HasUsedFlag());
  timer.Start(1000, Note("f"), 0);
  Pass(500);
  timer.Start(1000, Note("g"), 0);
  EXPECT_EQ(FiredAfter(999), "");
  EXPECT_EQ(FiredAfter(1), "g");
  EXPECT_TRUE(timer.HasUsedFlag());
  timer.Start(0xffffffff, Note("late"), 0);
  EXPECT_EQ(FiredAfter(0x7ffffffe), "g");
  EXPECT_EQ(FiredAfter(1), "glate");
}

TEST_F(TimerTest, FiresAsOftenAsAskedUntilCancelled) {
  Timer three(loop);
  Timer endless(loop);
  timer.Start(100, Note("1"), 1);
  three.Start(100, Note("3"), 3);
  endless.StartPosted(100, Note("e"), 0xffffffff);
  for (const char* expected : {"13e", "13e3e", "13e3e3e", "13e3e3ee"}) {
    EXPECT_EQ(FiredAfter(100), expected);
  }
  endless.Cancel();
  EXPECT_FALSE(endless.HasUsedFlag());
  EXPECT_EQ(FiredAfter(1000), "13e3e3ee");
  Timer(loop).Start(100, Note("x"), 0);
  EXPECT_EQ(FiredAfter(100), "13e3e3ee");
}

TEST_F(TimerTest, WithoutALoopOfItsOwnUsesTheCallingThreads) {
  Timer orphan{std::make_shared<BaseThread>("gone")->GetTaskLoop()};
  Timer own;
  OnLoop([&] {
    own.Start(10, Note("a"), 0);
    orphan.StartPosted(10, Note("o"), 0);
  });
  EXPECT_EQ(FiredAfter(10), "ao");
  // No loop here: nothing but the cancel of what was due.
  OnLoop([&] { own.Start(10, Note("b"), 0); });
  own.Start(10, Note("c"), 0);
  orphan.StartPosted(10, Note("c"), 0);
  EXPECT_FALSE(own.HasUsedFlag());
  EXPECT_EQ(FiredAfter(10), "ao");
}

// The callback takes a lock that is held around posts: run in the walk it would close a circle
// with the loop's mutex.
TEST_F(TimerTest, HandedOnWorkRunsOutsideTheWalkAndEndsWithItsArming) {
  Mutex mutex;
  std::promise<void> begun;
  std::promise<void> posted;
  std::jthread poster;
  const auto work = [&] {
    begun.set_value();
    MutexLock lock(mutex);
    fired += "w";
  };
  timer.StartPosted(10, work, 3);
  {
    MutexLock lock(mutex);
    clock.Advance(10);
    EXPECT_TRUE(Arrives(begun.get_future()));
    poster = std::jthread([&] {
      thread->PostDelayedTask(0, [] {});
      posted.set_value();
    });
    EXPECT_TRUE(Arrives(posted.get_future()));
  }
  EXPECT_EQ(FiredAfter(0), "w");
  // Cancelled between the due task and the work that it has posted.
  OnLoop([&] {
    thread->PostDelayedTask(10, [] {});
    timer.StartPosted(10, work, 0);
    thread->PostDelayedTask(10, [&] { timer.Cancel(); });
  });
  EXPECT_EQ(FiredAfter(10), "w");
}

}  // namespace
}  // namespace zo_base
