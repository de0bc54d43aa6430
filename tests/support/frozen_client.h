#pragma once

#include <atomic>
#include <future>

#include "base/thread/base_thread.h"
#include "base/thread/clock.h"
#include "base/thread/clock_for_test.h"
#include "base/thread/thread_info.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/sanitizers.h"

// A client under a clock that doesn't move unless the test advances it: a call that waits for a
// time limit would block for ever.
class FrozenClient : public ClientTest {
 protected:
  FrozenClient() { zo_base::BaseThread::SetStepHookForTest(&watch_); }
  ~FrozenClient() override {
    Exit();
    zo_base::BaseThread::SetStepHookForTest(nullptr);
  }

  // Advances the clock once the agent's thread has nothing left to do, so that its timers are
  // armed, and lets it run what is due then.
  void AdvanceAgent(int64_t ms) {
    ASSERT_TRUE(WaitUntil([this] { return AgentWaits(); }));
    const int before = agent_steps_;
    clock_.Advance(ms);
    ASSERT_TRUE(WaitUntil([&] { return agent_steps_ > before && AgentWaits(); }));
  }
  // Advances the clock until `done` holds; `done` takes a little true time.
  template <class Done>
  void AdvanceUntil(const Done& done) {
    while (!done()) {
      clock_.Advance(500);
    }
  }
  // Returns the result of a call that waits for the network.
  template <class Call>
  auto Await(const Call& call) {
    auto result = std::async(std::launch::async, call);
    AdvanceUntil([&] { return result.wait_for(kGlance) == std::future_status::ready; });
    return result.get();
  }
  void Exit() {
    Await([] { zo_sturdy::ExitSturdyEnvironment(1); });
  }

  static constexpr std::chrono::milliseconds kGlance{kSanitized ? 20 : 4};

  zo_base::ScopedTestClock clock_;
  const LogLines log_{folder_.path()};

 private:
  [[nodiscard]] bool AgentWaits() const { return agent_steps_ % 2 == 1; }

  // Counts the begins and ends of the agent's waits.
  std::atomic<int> agent_steps_{0};
  const zo_base::BaseThread::StepHook watch_ = [this](zo_base::BaseThread&,
                                                      zo_base::LoopStep step) {
    const zo_base::ThreadInfo* const thread = zo_base::CurrentThreadInfo();
    if ((step == zo_base::LoopStep::kWaitComputed || step == zo_base::LoopStep::kWaited) &&
        thread != nullptr && thread->name == "http_agent_work") {
      ++agent_steps_;
    }
  };
};
