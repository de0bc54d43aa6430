#include "base/base_thread.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "base/post_task.h"
#include "tests/base/loop_fixture.h"
#include "tests/base/run_threads.h"

namespace zo_base {
namespace {

using testing::ElementsAre;

class Delayed : public LoopFixture {};

TEST(BaseThread, TellsItsLifeBySignalsOnItsOwnThread) {
  auto thread = std::make_shared<BaseThread>("a thread");
  std::vector<std::string> told;
  const auto tell = [&](SignalKeyOf<> key, const std::string& what) {
    thread->Connect(key, [&, what] {
      const ThreadInfo* info = CurrentThreadInfo();
      told.push_back(what + (info != nullptr ? " of " + info->name : ""));
      EXPECT_EQ(info != nullptr, thread->IsCurrentThread());
    });
  };
  tell(SignalKey(&IThread::SIG_InternalEnd), "internal end");
  tell(SignalKey(&IThread::SIG_ThreadEnd), "end");
  tell(SignalKey(&IThread::SIG_ThreadBegin), "begin");
  tell(SignalKey(&IThread::SIG_InternalBegin), "internal begin");
  EXPECT_TRUE(thread->IsCurrentThread());  // Neither has an id yet.
  thread->Start();
  EXPECT_THAT(told, ElementsAre("internal begin of a thread", "begin of a thread"));
  EXPECT_TRUE(thread->IsRunning());
  EXPECT_FALSE(thread->IsCurrentThread());
  thread->Stop();
  EXPECT_FALSE(thread->IsRunning());
  EXPECT_EQ(told.size(), 4u);
  EXPECT_THAT(told.back(), "internal end");
  thread->Stop();
}

TEST(BaseThread, KeepsEarlyPostsAndItsLoopDropsThem) {
  auto thread = std::make_shared<BaseThread>("early");
  std::promise<void> kept;
  bool dropped = true;
  PostTo(thread->GetTaskLoop(), [&] { dropped = false; });
  PostTo(*thread, [&] { kept.set_value(); });
  thread->Start();
  EXPECT_TRUE(Arrives(kept.get_future()));
  const auto loop = thread->GetTaskLoop();
  thread.reset();
  PostTo(loop, [&] { dropped = false; });
  PostTo(nullptr, [&] { dropped = false; });
  EXPECT_TRUE(dropped);
}

TEST_F(Delayed, HighPriorityTasksOvertakeNormalOnes) {
  std::vector<std::string> order;
  std::promise<void> done;
  thread->PostTask([&] {
    thread->PostTask([&] { order.push_back("n1"); });
    thread->PostTask([&] {
      order.push_back("n2");
      thread->PostHighPriorityTask([&] { order.push_back("h2"); });
    });
    thread->PostHighPriorityTask([&] { order.push_back("h1"); });
    thread->PostTask([&] { done.set_value(); });
  });
  PostTo(loop, [] {});
  thread->PostTask([] {});
  ASSERT_TRUE(Arrives(done.get_future()));
  EXPECT_THAT(order, ElementsAre("h1", "n1", "n2", "h2"));
}

TEST_F(Delayed, RunByDueTimeWhateverTheWallClockSays) {
  std::string order;
  const auto note = [&](char c) { return [&order, c] { order += c; }; };
  OnLoop([&] {
    thread->PostDelayedTask(20, note('c'));
    thread->PostDelayedTask(10, note('b'));
    thread->PostDelayedTask(20, note('d'));
    thread->PostDelayedTask(INT_MIN, note('a'));
    thread->PostDelayedTask(INT_MAX, note('e'));
  });
  Pass(0);
  EXPECT_EQ(order, "a");
  clock.SetWall(0);
  Pass(20);
  EXPECT_EQ(order, "abcd");
  Pass(INT_MAX - int64_t{21});
  EXPECT_EQ(order, "abcd");
  Pass(1);
  EXPECT_EQ(order, "abcde");
}

TEST_F(Delayed, RepeatsAreReckonedFromTheStartOfARun) {
  int runs = 0;
  thread->PostRepeatedTask(
      10,
      [&] {
        ++runs;
        clock.Advance(4);
      },
      2);
  Pass(10);
  Pass(5);
  EXPECT_EQ(runs, 1);
  Pass(1);
  EXPECT_EQ(runs, 2);
}

// A task is freed where it may wait for another thread's post, and before an endless walk ends.
TEST_F(Delayed, AreFreedOutsideTheWalkAlsoWhileTheyRepeatWithoutEnd) {
  std::promise<void> freed;
  std::shared_ptr<int> last(new int, [&](int* gone) {
    delete gone;
    std::thread([&] { thread->PostDelayedTask(0, [] {}); }).join();
    freed.set_value();
  });
  thread->PostDelayedTask(0, [held = std::move(last)] {});
  thread->PostRepeatedTask(
      0, [] {}, -1);
  EXPECT_TRUE(Arrives(freed.get_future()));
}

TEST_F(Delayed, TasksMayAppendToTheListThatIsWalked) {
  int runs = 0;
  std::promise<void> done;
  std::function<void()> again = [&] {
    if (++runs == 100) {
      done.set_value();
    } else {
      thread->PostDelayedTask(0, again);
    }
  };
  thread->PostDelayedTask(0, again);
  EXPECT_TRUE(Arrives(done.get_future()));
}

TEST_F(Delayed, AStopFromWithinFailsAndDropsTheRest) {
  bool ran = false;
  std::promise<void> tried;
  auto held = std::make_shared<int>();
  std::weak_ptr<int> watch = held;
  thread->PostDelayedTask(0, [&, held] {
    thread->PostDelayedTask(0, [&ran] { ran = true; });
    EXPECT_THROW(thread->Stop(), std::system_error);
    tried.set_value();
  });
  held.reset();
  ASSERT_TRUE(Arrives(tried.get_future()));
  thread->Stop();
  EXPECT_FALSE(ran);
  EXPECT_FALSE(watch.expired());
  thread.reset();
  EXPECT_TRUE(watch.expired());
  thread = std::make_shared<BaseThread>("for the fixture");
}

TEST_F(Delayed, PostsOfOneThreadKeepTheirOrderInEachLane) {
  std::vector<std::vector<int>> seen(4);
  RunThreads(4, [&](int p) {
    for (int n = 0; n < 500; ++n) {
      const auto task = [&seen, p, n] { seen[p].push_back(n); };
      p % 2 == 0 ? PostTo(loop, task) : thread->PostTask(task);
    }
  });
  std::promise<void> done;
  auto ended = done.get_future();
  thread->PostTask([&] { done.set_value(); });
  // A single post in the normal lane can be missed until the next.
  while (ended.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
    thread->PostTask([] {});
  }
  for (const std::vector<int>& numbers : seen) {
    EXPECT_EQ(numbers.size(), 500u);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  }
}

}  // namespace
}  // namespace zo_base
