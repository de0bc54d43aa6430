#include "network/threadpool.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "base/platform/thread.h"
#include "base/platform/thread_for_test.h"

namespace KRBASE::network {
namespace {

TEST(Threadpool, SizesAreBounded) {
  for (const auto& [asked, expected] : {std::pair(0, 0), {1, 1}, {12, 12}, {16, 16}, {20, 16}}) {
    const threadpool pool(static_cast<uint16_t>(asked));
    EXPECT_EQ(pool.size(), static_cast<size_t>(expected));
    EXPECT_EQ(pool.idle_count(), expected);
    EXPECT_EQ(zo_base::LiveLibraryThreads(), expected);
  }
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
}

TEST(Threadpool, GivesResultsAndExceptionsByTheFuture) {
  threadpool pool(2);
  auto sum = pool.commit([](int a, int b) { return a + b; }, 2, 3);
  auto fault = pool.commit([]() -> int { throw std::out_of_range("far out"); });
  EXPECT_EQ(sum.get(), 5);
  EXPECT_THROW(fault.get(), std::out_of_range);
  EXPECT_EQ(pool.commit([] { return std::string("still at work"); }).get(), "still at work");
}

TEST(Threadpool, RunsInOrderAndDropsWhatWaitsAtItsEnd) {
  std::promise<void> started;
  std::promise<void> go_on;
  std::vector<int> order;
  std::future<void> done;
  std::future<void> dropped;
  std::future<bool> refused;
  {
    threadpool pool(1);
    for (int i = 0; i < 3; ++i) {
      done = pool.commit([&order, i] { order.push_back(i); });
    }
    done.get();
    refused = pool.commit([&] {
      started.set_value();
      go_on.get_future().wait();
      // The destructor below has stopped the pool once a commit throws.
      try {
        for (;;) {
          pool.commit([] {});
        }
      } catch (const std::runtime_error& error) {
        return error.what() == std::string("commit on ThreadPool is stopped.");
      }
    });
    dropped = pool.commit([] {});
    started.get_future().wait();
    EXPECT_EQ(pool.idle_count(), 0);
    go_on.set_value();
  }
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
  EXPECT_TRUE(refused.get());
  EXPECT_THROW(dropped.get(), std::future_error);
}

TEST(Threadpool, HalfMadeLeavesNoThread) {
  for (int n = 1; n <= 12; ++n) {
    zo_base::FailThreadStartForTest(n);
    EXPECT_THROW(threadpool pool(12), std::system_error);
    EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  }
  const threadpool pool(12);
  EXPECT_EQ(pool.size(), 12U);
}

}  // namespace
}  // namespace KRBASE::network
