#include "src/business/sturdy_lbs/count_timer_invoker.h"

#include <thread>

#include "tests/support/configured_test.h"

namespace zo_sturdy {
namespace {

class CountTimerInvokerTest : public ConfiguredTest {
 protected:
  CountTimerInvokerTest() {
    log.StartHere();
    thread->Start();
  }
  ~CountTimerInvokerTest() override { thread->Stop(); }

  // Invokes once for each letter.
  void Ask(const std::string& names, bool immediately = false) {
    for (const char name : names) {
      invoker.Invoke([this, name] { ran += name; }, immediately);
    }
  }
  // Asks on the thread. Returns the tasks that have run `ms` later.
  std::string AskOnThread(const std::string& names, int64_t ms = 0) {
    RunOn(*thread, [&] { Ask(names); });
    Settle(*thread, ms);
    return ran;
  }

  const std::shared_ptr<zo_base::BaseThread> thread =
      std::make_shared<zo_base::BaseThread>("asker");
  CountTimerInvoker invoker{3, 1200};
  std::string ran;
};

TEST_F(CountTimerInvokerTest, RunsTheLatestTaskByCountOrByTime) {
  EXPECT_EQ(AskOnThread("ab"), "");
  EXPECT_EQ(AskOnThread("c"), "c");
  EXPECT_EQ(AskOnThread("", 5000), "c");
  AskOnThread("d", 1000);
  EXPECT_EQ(AskOnThread("e", 199), "c");
  EXPECT_EQ(AskOnThread("", 1), "ce");
  AskOnThread("fg");
  Ask("h", true);  // on a foreign thread, like a change of the token
  EXPECT_EQ(AskOnThread("", 5000), "ceh");
  Ask("i");  // on a thread without a loop the count alone runs a task
  EXPECT_EQ(AskOnThread("", 5000), "ceh");
  const std::string now = "[count timer invoker] Invoke immediately";
  EXPECT_EQ(log.Texts(), (Messages{"[count timer invoker][times] Invoke task", now,
                                   "[count timer invoker][time out] Invoke task", now, now}));
}

TEST_F(CountTimerInvokerTest, TaskOfTheTimerMayWaitForPostsToItsLoop) {
  RunOn(*thread, [this] {
    invoker.Invoke([this] { std::thread([this] { thread->PostDelayedTask(1, [] {}); }).join(); },
                   false);
  });
  AskOnThread("", 1200);
}

}  // namespace
}  // namespace zo_sturdy
