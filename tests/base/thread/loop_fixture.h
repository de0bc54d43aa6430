#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>

#include "base/thread/base_thread.h"
#include "base/thread/clock_for_test.h"

namespace zo_base {

// Waits for what a loop is expected to do; past the limit the expectation has failed.
[[nodiscard]] inline bool Arrives(std::future<void> what) {
  return what.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

// A running thread under a clock that doesn't move.
class LoopFixture : public testing::Test {
 protected:
  LoopFixture() { thread->Start(); }
  ~LoopFixture() override { thread->Stop(); }

  // Runs `work` on the loop, as a delayed task: what falls due by now has run before it.
  void OnLoop(const std::function<void()>& work) {
    std::promise<void> done;
    thread->PostDelayedTask(0, [&] {
      work();
      done.set_value();
    });
    ASSERT_TRUE(Arrives(done.get_future()));
  }
  void Pass(int64_t ms) {
    clock.Advance(ms);
    OnLoop([] {});
  }

  ScopedTestClock clock;
  std::shared_ptr<BaseThread> thread = std::make_shared<BaseThread>("loop of the test");
  std::shared_ptr<ITaskLoop> loop = thread->GetTaskLoop();
};

}  // namespace zo_base
