#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/thread/post_task.h"
#include "tests/base/thread/loop_fixture.h"

namespace zo_base {
namespace {

constexpr int kDelayMs = 1'000'000;

// A post or a stop comes in at a given step of the loop. Nothing follows that could make up for a
// lost one: the clock doesn't move, and the loop's wait is long.
class HeldLoop : public LoopFixture {
 protected:
  using Work = std::function<void()>;

  HeldLoop() { may_go_on = go_on.get_future(); }
  ~HeldLoop() override {
    BaseThread::SetStepHookForTest(nullptr);
    thread->Stop();  // it may still be inside the hook
  }

  // Runs each piece of work on the loop's thread when it passes the step, one after the other.
  void RunAt(std::vector<std::pair<LoopStep, Work>> what) {
    script = std::move(what);
    OnLoop([&] {
      thread->PostDelayedTask(kDelayMs, nothing);
      BaseThread::SetStepHookForTest(&hook);
    });
    // Move the clock while the loop waits: it is notified, and passes all steps.
    EXPECT_TRUE(Arrives(waits.get_future()));
    clock.Advance(kDelayMs);
    EXPECT_TRUE(Arrives(came.get_future()));
    BaseThread::SetStepHookForTest(nullptr);
  }

  void OnStep(LoopStep step) {
    if (!thread->IsCurrentThread()) {
      LoopStep expected = step;
      if (foreign_step.compare_exchange_strong(expected, LoopStep::kPassEnds)) {
        reached.set_value();
        may_go_on.wait();
      }
    } else if (!is_armed) {
      if (step == LoopStep::kWaitComputed) {
        is_armed = true;
        waits.set_value();
      }
    } else if (next < script.size() && step == script[next].first) {
      const Work work = script[next++].second;
      work();
      if (next == script.size()) {
        came.set_value();
      }
    }
  }

  // Runs to its end, except in a step that holds the mutex of the wait: there it runs until it
  // looks whether the loop waits.
  void RunForeign(const Work& work) {
    const LoopStep step = script[next - 1].first;
    if (step == LoopStep::kMarkedWaiting || step == LoopStep::kWaitComputed) {
      go_on.set_value();
      RunForeignUntil(LoopStep::kNotifies, work);
    } else {
      std::thread(work).join();
    }
  }
  // Runs until it comes to the step, and stays there until `go_on`.
  void RunForeignUntil(LoopStep step, const Work& work) {
    foreign_step = step;
    other = std::jthread(work);
    EXPECT_TRUE(Arrives(reached.get_future()));
  }

  const Work nothing = [] {};
  const Work arrival = [this] { arrived.set_value(); };
  const BaseThread::StepHook hook = [this](BaseThread&, LoopStep step) { OnStep(step); };
  std::vector<std::pair<LoopStep, Work>> script;
  size_t next = 0;  // of the script; only the loop's thread uses it
  bool is_armed = false;
  std::atomic<LoopStep> foreign_step{LoopStep::kPassEnds};
  std::promise<void> waits;
  std::promise<void> came;
  std::promise<void> arrived;
  std::promise<void> reached;
  std::future<void> may_go_on;
  std::jthread other;
  std::promise<void> go_on;  // destroyed before `other`, which may wait for its future
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
INSTANTIATE_TEST_SUITE_P(WaitComputed, AtStep, testing::Values(LoopStep::kWaitComputed));

TEST_F(HeldLoop, TaskStoredAfterTheRequestOfAnEarlierPostIsClearedArrives) {
  RunAt({{LoopStep::kBeforeWalk,
          [&] {
            PostTo(loop, nothing);
            RunForeignUntil(LoopStep::kPosterAppends, [&] { PostTo(loop, arrival); });
          }},
         {LoopStep::kWaited, nothing},
         {LoopStep::kWaitMutexHeld, [&] {
            go_on.set_value();
            other.join();
          }}});
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

TEST_F(HeldLoop, APosterThatIsHeldUpHoldsUpNoOtherPost) {
  OnLoop([&] { BaseThread::SetStepHookForTest(&hook); });
  ASSERT_TRUE(Arrives(waits.get_future()));
  RunForeignUntil(LoopStep::kWakes, [&] { PostTo(loop, nothing); });
  PostTo(loop, arrival);
  EXPECT_TRUE(Arrives(arrived.get_future()));
}

}  // namespace
}  // namespace zo_base
