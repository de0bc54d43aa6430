#include "network/threadpool.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <string>
#include <vector>

namespace KRBASE::network {
namespace {

TEST(Threadpool, RunsInOrderAndDropsWhatWaitsAtItsEnd) {
  std::promise<void> started;
  std::promise<void> go_on;
  std::vector<int> order;
  std::future<void> dropped;
  std::future<std::string> refused;
  {
    threadpool pool(1);
    for (int i = 0; i < 3; ++i) {
      pool.commit([&order](int number) { order.push_back(number); }, i);
    }
    EXPECT_THROW(pool.commit([] { throw std::out_of_range("far out"); }).get(), std::out_of_range);
    refused = pool.commit([&]() -> std::string {
      started.set_value();
      go_on.get_future().wait();
      try {  // the destructor below has stopped the pool once this throws
        for (;;) {
          pool.commit([] {});
        }
      } catch (const std::runtime_error& error) {
        return error.what();
      }
    });
    dropped = pool.commit([] {});
    started.get_future().wait();
    EXPECT_EQ(pool.idle_count(), 0);
    go_on.set_value();
  }
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(refused.get(), "commit on ThreadPool is stopped.");
  EXPECT_THROW(dropped.get(), std::future_error);
}

}  // namespace
}  // namespace KRBASE::network
