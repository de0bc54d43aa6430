#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/thread/post_task.h"
#include "tests/base/thread/loop_fixture.h"

namespace zo_base {
namespace {

constexpr int kPeriodMs = 1'000'000;

// The loop is held at one of its steps, and there a post or a stop comes in. Nothing follows that
// could make up for a lost one: the clock doesn't move and the loop's wait is long.
class HeldLoop : public LoopFixture {
 protected:
  using Work = std::function<void()>;

  ~HeldLoop() override {
    BaseThread::SetStepHookForTest(nullptr);
    thread->Stop();  // it may still be inside the hook
  }

  // Does each piece of work on the loop's thread, when that comes by its step, one after the other.
  void RunAt(std::vector<std::pair<LoopStep, Work>> what) {
    script = std::move(what);
    thread->PostRepeatedTask(
        kPeriodMs, [] {}, -1);
    BaseThread::SetStepHookForTest(&hook);
    // One move makes one task due and wakes the loop if it waits. A loop that was under way may
    // pass by another road: then it is moved again.
    auto there = came.get_future();
    do {
      clock.Advance(kPeriodMs);
    } while (there.wait_for(std::chrono::milliseconds(200)) != std::future_status::ready &&
             next == 0);
    EXPECT_TRUE(Arrives(std::move(there)));
    BaseThread::SetStepHookForTest(nullptr);
  }

  void OnStep(LoopStep step) {
    if (!thread->IsCurrentThread()) {
      LoopStep expected = step;
      if (poster_held_at.compare_exchange_strong(expected, LoopStep::kPassEnds)) {
        held.set_value();
        go_on.get_future().wait();
      }
    } else if (next < script.size() && step == script[next].first) {
      script[next++].second();
      if (next == script.size()) {
        came.set_value();
      }
    }
  }

  // Runs to its end, or until it waits for a lock that the step holds.
  void RunForeign(const Work& work) {
    auto done = std::make_shared<std::promise<void>>();
    others.emplace_back([work, done] {
      work();
      done->set_value();
    });
    (void)done->get_future().wait_for(std::chrono::milliseconds(100));
  }
  // Runs until it comes by the step, and stays there until `go_on`.
  void RunForeignUntil(LoopStep step, const Work& work) {
    poster_held_at = step;
    others.emplace_back(work);
    EXPECT_TRUE(Arrives(held.get_future()));
  }

  const Work nothing = [] {};
  const Work arrival = [this] { arrived.set_value(); };
  const BaseThread::StepHook hook = [this](BaseThread&, LoopStep step) { OnStep(step); };
  std::vector<std::pair<LoopStep, Work>> script;
  std::atomic<size_t> next{0};
  std::atomic<LoopStep> poster_held_at{LoopStep::kPassEnds};
  std::promise<void> came;
  std::promise<void> arrived;
  std::promise<void> held;
  std::promise<void> go_on;
  std::vector<std::jthread> others;
};

class AtStep : public HeldLoop, public testing::WithParamInterface<LoopStep> {};

class AtStepThatRunsTasks : public AtStep {};

TEST_P(AtStepThatRunsTasks, APostOfTheLoopItselfArrives) {
  RunAt({{GetParam(), [&] { PostTo(loop, arrival); }}});
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

TEST_P(AtStep, APostOfAnotherThreadArrives) {
  RunAt({{GetParam(), [&] { RunForeign([&] { PostTo(loop, arrival); }); }}});
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

TEST_P(AtStep, AStopIsSeen) {
  RunAt({{GetParam(), [&] { RunForeign([&] { thread->RequestStop(); }); }}});
  thread->Join();
  EXPECT_FALSE(thread->IsRunning());
}

const auto kTaskSteps = testing::Values(
    LoopStep::kPassBegins, LoopStep::kWaitMutexHeld, LoopStep::kMarkedWaiting, LoopStep::kWaited,
    LoopStep::kDrainedPriority, LoopStep::kDrainedNormal, LoopStep::kBeforeWalk,
    LoopStep::kDrainedBeforeWalk, LoopStep::kDelayedMutexHeld, LoopStep::kTaskRan,
    LoopStep::kWalked, LoopStep::kPassEnds);
INSTANTIATE_TEST_SUITE_P(EachStep, AtStepThatRunsTasks, kTaskSteps);
INSTANTIATE_TEST_SUITE_P(EachStep, AtStep, kTaskSteps);
INSTANTIATE_TEST_SUITE_P(Reckoned, AtStep, testing::Values(LoopStep::kWaitComputed));

TEST_F(HeldLoop, AWalkMayUseUpTheWakeUpOfAPostAfterItsDrain) {
  RunAt({{LoopStep::kBeforeWalk, [&] { PostTo(loop, nothing); }},
         {LoopStep::kDrainedBeforeWalk, [&] { RunForeign([&] { PostTo(loop, arrival); }); }}});
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

TEST_F(HeldLoop, APosterMayStoreItsTaskAfterTheWakeUpThatWasPendingHasRun) {
  RunAt({{LoopStep::kBeforeWalk,
          [&] {
            PostTo(loop, nothing);
            RunForeignUntil(LoopStep::kPosterAppends, [&] { PostTo(loop, arrival); });
          }},
         {LoopStep::kWaitMutexHeld, [&] {
            go_on.set_value();
            others.pop_back();
          }}});
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

TEST_F(HeldLoop, AMarkWhoseWakeUpComesLateServesTheOthersToo) {
  RunAt({{LoopStep::kWaitMutexHeld, [&] {
            RunForeignUntil(LoopStep::kPosterMarked, [&] { PostTo(loop, nothing); });
            RunForeign([&] { PostTo(loop, arrival); });
          }}});
  go_on.set_value();
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

}  // namespace
}  // namespace zo_base
