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
    std::promise<void> ran;
    PostTo(loop, [&] { ran.set_value(); });
    EXPECT_TRUE(Arrives(ran.get_future()));
    return fired;
  }

  std::string fired;
  Timer timer{loop};
};

TEST_F(TimerTest, StartCancelsTheLastArmingAndCapsTheDelay) {
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

TEST_F(TimerTest, FiresUntilCancelledOrDestroyed) {
  timer.StartPosted(100, Note("e"), 0xffffffff);
  Timer(loop).Start(100, Note("x"), 0);
  EXPECT_EQ(FiredAfter(100), "e");
  EXPECT_EQ(FiredAfter(100), "ee");
  timer.Cancel();
  EXPECT_FALSE(timer.HasUsedFlag());
  EXPECT_EQ(FiredAfter(1000), "ee");
}

TEST_F(TimerTest, WithoutALoopUsesThatOfTheCallingThread) {
  Timer orphan{std::make_shared<BaseThread>("gone")->GetTaskLoop()};
  Timer own;
  OnLoop([&] {
    own.Start(10, Note("a"), 0);
    orphan.StartPosted(10, Note("o"), 0);
  });
  EXPECT_EQ(FiredAfter(10), "ao");
  // This thread has no loop: a start only cancels.
  OnLoop([&] { own.Start(10, Note("b"), 0); });
  own.Start(10, Note("c"), 0);
  orphan.StartPosted(10, Note("c"), 0);
  EXPECT_FALSE(own.HasUsedFlag());
  EXPECT_EQ(FiredAfter(10), "ao");
}

// The callback takes a lock that is held around posts. Called with the loop's mutex held, it would
// deadlock.
TEST_F(TimerTest, StartPostedCallsWithoutTheLoopsMutexAndNotAfterACancel) {
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
  // Cancel between the due task and the callback that it has posted.
  OnLoop([&] {
    thread->PostDelayedTask(10, [] {});
    timer.StartPosted(10, work, 0);
    thread->PostDelayedTask(10, [&] { timer.Cancel(); });
  });
  EXPECT_EQ(FiredAfter(10), "w");
}

}  // namespace
}  // namespace zo_base
