#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "base/base_thread.h"
#include "base/platform/file.h"
#include "base/platform/thread.h"
#include "base/platform/thread_for_test.h"
#include "src/sturdy/environment/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "tests/environment/client.h"
#include "tests/support/log_lines.h"

namespace zo_sturdy {
namespace {

const std::string kBanner =
    "\r\n----------------------------------------------------- start "
    "-----------------------------------------------------";

void ExpectNothingStarted() {
  for (const int id : {1, 0, 2, -1}) {
    EXPECT_EQ(GetSturdyObject(id), nullptr);
  }
  EXPECT_EQ(EnvironmentManager::Instance().GetConfig(), nullptr);
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
}

TEST(EnvironmentLifecycle, SettingsCountFromStartToExit) {
  const TempFolder first;
  const TempFolder second;
  ExpectNothingStarted();
  EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings(first.path(), "token")), 1);
  IZOSturdyObject* const object = GetSturdyObject(1);
  EXPECT_NE(object, nullptr);
  EXPECT_EQ(EnvironmentManager::Instance().GetConfig()->GetBusinessToken(), "token");

  EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings(second.path(), "other")), 1);
  EXPECT_EQ(GetSturdyObject(1), object);
  EXPECT_EQ(EnvironmentManager::Instance().GetConfig()->GetBusinessToken(), "token");
  EXPECT_FALSE(zo_base::FolderExists(second.File("sturdy_comp")));

  ExitSturdyEnvironment(7);  // Ends everything, whatever the id.
  ExpectNothingStarted();
  EXPECT_EQ(LogLines(first.path()).With("- start -"), Messages({kBanner, kBanner}));

  EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings(second.path())), 1);
  EXPECT_EQ(EnvironmentManager::Instance().GetConfig()->GetBusinessToken(), "");
  ExitSturdyEnvironment(1);
  EXPECT_EQ(LogLines(second.path()).With("- start -").size(), 2u);
  EXPECT_EQ(LogLines(first.path()).With("- start -").size(), 2u);
}

// Who may still post to whom decides both orders.
TEST(EnvironmentLifecycle, ThreadsBeginAndEndInTheirOrder) {
  static std::mutex mutex;
  static std::vector<std::string> begun;
  static std::vector<std::string> ended;
  static const zo_base::BaseThread::StepHook note = [](zo_base::BaseThread& thread,
                                                       zo_base::LoopStep step) {
    char name[16] = {};
    prctl(PR_GET_NAME, name);
    const std::lock_guard lock(mutex);
    if (step == zo_base::LoopStep::kPassBegins &&
        std::find(begun.begin(), begun.end(), name) == begun.end()) {
      begun.emplace_back(name);
      // The last steps of a loop come before it sees its stop, so they tell no order of ends.
      thread.Connect(zo_base::SignalKey(&zo_base::IThread::SIG_ThreadEnd),
                     [name = begun.back()]() -> void {
                       const std::lock_guard end_lock(mutex);
                       ended.push_back(name);
                     });
    }
  };
  const TempFolder folder;
  zo_base::BaseThread::SetStepHookForTest(&note);
  StartSturdyEnvironment(EnvironmentSettings(folder.path()));
  GetSturdyObject(1)->GetLBSService()->Start(LBSRecord("http://127.0.0.1:1/", "localhost:1"));
  ExitSturdyEnvironment(1);
  zo_base::BaseThread::SetStepHookForTest(nullptr);
  EXPECT_THAT(begun, testing::ElementsAre("statistic", "http dns manage", "http_agent_work",
                                          "lbs service"));
  EXPECT_THAT(ended, testing::ElementsAre("lbs service", "http_agent_work", "statistic",
                                          "http dns manage"));
}

// Each thread that a start makes is denied in turn, until a start needs no more of them.
TEST(EnvironmentLifecycle, AStartThatThrowsLeavesNothingBehind) {
  const TempFolder folder;
  int failures = 0;
  for (bool passed = false; !passed; failures += !passed) {
    zo_base::FailThreadStartForTest(failures + 1);
    try {
      EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings(folder.path())), 1);
      passed = true;
    } catch (const std::system_error&) {
      ExpectNothingStarted();
    }
    zo_base::FailThreadStartForTest(0);
    EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings(folder.path())), 1);
    ExitSturdyEnvironment(1);
    ExpectNothingStarted();
  }
  EXPECT_GE(failures, 15) << "twelve workers and the agent's three threads";
}

TEST(EnvironmentLifecycle, StartsAndExitsOfManyThreadsRunOneAfterTheOther) {
  const TempFolder folder;
  std::vector<std::thread> clients;
  for (int client = 0; client < 4; ++client) {
    clients.emplace_back([&folder, client] {
      for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings(folder.path())), 1);
        GetSturdyObject(1);
        ExitSturdyEnvironment(client % 2 ? 1 : 7);
      }
    });
  }
  for (auto& client : clients) {
    client.join();
  }
  ExpectNothingStarted();
}

}  // namespace
}  // namespace zo_sturdy
