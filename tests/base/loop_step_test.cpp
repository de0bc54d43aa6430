#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

#include "base/post_task.h"
#include "tests/base/loop_fixture.h"
#include "tests/base/run_threads.h"

namespace zo_base {
namespace {

constexpr int kPeriodMs = 1'000'000;

// The loop is held at one of its steps, and there a post or a stop comes in. Nothing follows that
// could make up for a lost one: the clock stands still and the loop's wait is a long one.
class AtStep : public LoopFixture, public testing::WithParamInterface<LoopStep> {
 protected:
  ~AtStep() override {
    BaseThread::SetStepHookForTest(nullptr);
    // The loop may still be inside the hook.
    thread->Stop();
    if (foreign.joinable()) {
      foreign.join();
    }
  }

  // Runs `act` once, on the loop's thread, when that next comes by the step.
  void RunThere(std::function<void()> act) {
    hook = [this, act = std::move(act)](BaseThread&, LoopStep step) {
      if (step == GetParam() && armed.exchange(false)) {
        act();
        came.set_value();
      }
    };
    thread->PostRepeatedTask(
        kPeriodMs, [] {}, -1);
    BaseThread::SetStepHookForTest(&hook);
    // One move makes one task due and wakes the loop if it waits. A loop that was under way may
    // pass by another road: then it is moved again.
    auto there = came.get_future();
    do {
      clock.Advance(kPeriodMs);
    } while (there.wait_for(std::chrono::milliseconds(200)) != std::future_status::ready);
    BaseThread::SetStepHookForTest(nullptr);
  }

  void RunForeign(const std::function<void()>& act) {
    foreign = std::thread(act);
    // Where the loop holds the delayed tasks the other thread waits for it inside its post.
    if (GetParam() != LoopStep::kDelayedMutexHeld && GetParam() != LoopStep::kTaskRan) {
      foreign.join();
    }
  }

  BaseThread::StepHook hook;
  std::atomic<bool> armed{true};
  std::promise<void> came;
  std::promise<void> arrived;
  std::thread foreign;
};

TEST_P(AtStep, APostOfTheLoopItselfArrives) {
  RunThere([&] { PostTo(loop, [&] { arrived.set_value(); }); });
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

TEST_P(AtStep, APostOfAnotherThreadArrives) {
  RunThere([&] { RunForeign([&] { PostTo(loop, [&] { arrived.set_value(); }); }); });
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

TEST_P(AtStep, AStopIsSeen) {
  RunThere([&] { RunForeign([&] { thread->RequestStop(); }); });
  thread->Join();
  EXPECT_FALSE(thread->IsRunning());
}

INSTANTIATE_TEST_SUITE_P(EachStep, AtStep,
                         testing::Values(LoopStep::kPassBegins, LoopStep::kWaitMutexHeld,
                                         LoopStep::kWaited, LoopStep::kDrainedPriority,
                                         LoopStep::kDrainedNormal, LoopStep::kBeforeWalk,
                                         LoopStep::kDelayedMutexHeld, LoopStep::kTaskRan,
                                         LoopStep::kWalked, LoopStep::kPassEnds));

class PostRace : public LoopFixture {};

TEST_F(PostRace, NoAnswerIsLostWhenPostsMeetTimersAndEachOther) {
  RunThreads(2, [&](int) {
    for (int i = 0; i < 1000; ++i) {
      std::promise<void> ran;
      thread->PostDelayedTask(0, [] {});
      PostTo(loop, [&] { PostTo(loop, [&] { ran.set_value(); }); });
      ASSERT_TRUE(Arrives(ran.get_future()));
    }
  });
}

}  // namespace
}  // namespace zo_base
