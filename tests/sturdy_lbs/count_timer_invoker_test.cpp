#include "src/business/sturdy_lbs/count_timer_invoker.h"

#include <future>
#include <thread>

#include "base/base_thread.h"
#include "base/clock_for_test.h"
#include "base/post_task.h"
#include "tests/sturdy_lbs/lbs_fixture.h"

namespace zo_sturdy {
namespace {

const std::string kTimeOut = "[count timer invoker][time out] Invoke task";
const std::string kTimes = "[count timer invoker][times] Invoke task";
const std::string kNow = "[count timer invoker] Invoke immediately";

class CountTimerInvokerTest : public LbsTest {
 protected:
  CountTimerInvokerTest() {
    log.StartHere();
    thread->Start();
  }
  ~CountTimerInvokerTest() override { thread->Stop(); }

  void RunOnThread(const std::function<void()>& work) {
    std::promise<void> done;
    zo_base::PostTo(thread->GetTaskLoop(), [&] {
      work();
      done.set_value();
    });
    done.get_future().wait();
  }
  // What a walk over due tasks hands on runs before this returns.
  void Settle() {
    std::promise<void> done;
    thread->PostDelayedTask(
        0, [&] { zo_base::PostTo(thread->GetTaskLoop(), [&] { done.set_value(); }); });
    done.get_future().wait();
  }
  void Ask(const std::string& name, bool immediately = false) {
    invoker.Invoke([this, name] { ran += name; }, immediately);
  }
  Messages Lines() const { return log.Tagged({"[count timer invoker]"}); }

  zo_base::ScopedTestClock clock;
  const std::shared_ptr<zo_base::BaseThread> thread =
      std::make_shared<zo_base::BaseThread>("asker");
  CountTimerInvoker invoker{3, 1200};
  std::string ran;
};

TEST_F(CountTimerInvokerTest, RunsTheLatestTaskAtTheThirdAskAndStopsTheTimer) {
  RunOnThread([this] {
    Ask("a");
    Ask("b");
    EXPECT_EQ(ran, "");
    Ask("c");
    EXPECT_EQ(ran, "c");
  });
  clock.Advance(5000);
  Settle();
  EXPECT_EQ(ran, "c");
  EXPECT_EQ(Lines(), (Messages{kTimes, kNow}));
}

TEST_F(CountTimerInvokerTest, RunsTheLatestTaskAtTheTimeAfterTheFirstAsk) {
  RunOnThread([this] { Ask("a"); });
  clock.Advance(1000);
  RunOnThread([this] { Ask("b"); });
  clock.Advance(199);
  Settle();
  RunOnThread([this] { EXPECT_EQ(ran, ""); });
  clock.Advance(1);
  ASSERT_TRUE(log.WaitFor(kNow));
  RunOnThread([this] { EXPECT_EQ(ran, "b"); });
  EXPECT_EQ(Lines(), (Messages{kTimeOut, kNow}));
  // Idle again: it takes three further asks.
  RunOnThread([this] {
    Ask("c");
    Ask("d");
    EXPECT_EQ(ran, "b");
    Ask("e");
    EXPECT_EQ(ran, "be");
  });
}

TEST_F(CountTimerInvokerTest, AnImmediateAskDropsTheWaitingOnes) {
  RunOnThread([this] {
    Ask("a");
    Ask("b");
  });
  Ask("now", true);  // on a foreign thread, as a change of the token
  clock.Advance(5000);
  Settle();
  EXPECT_EQ(ran, "now");
  EXPECT_EQ(Lines(), Messages{kNow});
}

TEST_F(CountTimerInvokerTest, WithoutATaskLoopTheCountAloneRunsTheTask) {
  Ask("a");
  Ask("b");
  clock.Advance(5000);
  Settle();
  EXPECT_EQ(ran, "");
  Ask("c");
  EXPECT_EQ(ran, "c");
}

TEST_F(CountTimerInvokerTest, ATaskOfTheTimerMayWaitForPostsToItsLoop) {
  std::promise<void> done;
  RunOnThread([&] {
    invoker.Invoke(
        [&] {
          std::thread([this] { thread->PostDelayedTask(1, [] {}); }).join();
          done.set_value();
        },
        false);
  });
  clock.Advance(1200);
  EXPECT_EQ(done.get_future().wait_for(kWaitLimit), std::future_status::ready);
}

}  // namespace
}  // namespace zo_sturdy
