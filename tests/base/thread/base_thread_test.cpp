#include "base/thread/base_thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <system_error>
#include <vector>

#include "base/thread/post_task.h"
#include "tests/base/thread/loop_fixture.h"
#include "tests/support/run_threads.h"

namespace zo_base {
namespace {

class TaskLoop : public LoopFixture {};

TEST(BaseThread, KeepsPostsBeforeStartAndItsLoopDropsThem) {
  auto thread = std::make_shared<BaseThread>("early");
  const auto loop = thread->GetTaskLoop();
  const auto dropped = [] { ADD_FAILURE(); };
  std::promise<void> kept;
  PostTo(loop, dropped);
  PostTo(*thread, [&] { kept.set_value(); });
  thread->Start();
  EXPECT_TRUE(Arrives(kept.get_future()));
  thread.reset();
  PostTo(loop, dropped);
  PostTo(nullptr, dropped);
}

TEST_F(TaskLoop, RunsDelayedTasksByDueTimeAlsoIfTheWallClockIsSet) {
  std::string order;
  const auto note = [&](char name) { return [&order, name] { order += name; }; };
  OnLoop([&] {
    for (const auto& [delay, name] :
         {std::pair{20, 'c'}, {10, 'b'}, {20, 'd'}, {INT_MIN, 'a'}, {INT_MAX, 'e'}}) {
      thread->PostDelayedTask(delay, note(name));
    }
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

// The destructor of a task may wait for another thread's post. A repeat of 0 ms is always due.
TEST_F(TaskLoop, FreesFinishedTasksWithoutTheMutexAlsoDuringAnEndlessRepeat) {
  std::promise<void> freed;
  std::shared_ptr<int> last(new int, [&](int* gone) {
    delete gone;
    std::thread([&] { thread->PostDelayedTask(0, [] {}); }).join();
    freed.set_value();
  });
  OnLoop([&] {  // so that one walk runs both
    thread->PostDelayedTask(0, [held = std::move(last)] {});
    thread->PostRepeatedTask(
        0, [] {}, -1);
  });
  EXPECT_TRUE(Arrives(freed.get_future()));
}

TEST_F(TaskLoop, StopOnTheThreadItselfThrowsAndDropsDelayedTasks) {
  std::promise<void> tried;
  auto held = std::make_shared<int>();
  thread->PostDelayedTask(0, [&, held] {
    thread->PostDelayedTask(0, [] { ADD_FAILURE(); });
    EXPECT_THROW(thread->Stop(), std::system_error);
    tried.set_value();
  });
  ASSERT_TRUE(Arrives(tried.get_future()));
  thread->Stop();
  EXPECT_EQ(held.use_count(), 2);
  thread = std::make_shared<BaseThread>("for the fixture");
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(TaskLoop, StopDropsQueuedTasks) {
  std::promise<void> stopped;
  PostTo(loop, [&] {
    PostTo(loop, [] { ADD_FAILURE(); });
    thread->PostTask([] { ADD_FAILURE(); });
    thread->RequestStop();
    stopped.set_value();
  });
  ASSERT_TRUE(Arrives(stopped.get_future()));
  thread->Join();
}

TEST_F(TaskLoop, PostsOfOneThreadKeepTheirOrder) {
  std::vector<std::vector<int>> seen(4);
  RunThreads(4, [&](int p) {
    for (int n = 0; n < 500; ++n) {
      PostTo(loop, [&seen, p, n] { seen[p].push_back(n); });
    }
  });
  std::promise<void> done;
  PostTo(loop, [&] { done.set_value(); });
  ASSERT_TRUE(Arrives(done.get_future()));
  for (const std::vector<int>& numbers : seen) {
    EXPECT_EQ(numbers.size(), 500u);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
  }
}

}  // namespace
}  // namespace zo_base
