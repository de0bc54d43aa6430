#include <gmock/gmock.h>

#include <filesystem>
#include <system_error>

#include "base/platform/file.h"
#include "base/platform/thread.h"
#include "base/platform/thread_for_test.h"
#include "lab/data_folder.h"
#include "lab/temp_folder.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "tests/support/client_calls.h"
#include "tests/support/log_lines.h"
#include "tests/support/process_state.h"
#include "tests/support/run_threads.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;

int Start(const lab::TempFolder& folder, const std::string& token = "") {
  return StartSturdyEnvironment(EnvironmentSettings(folder.path(), token));
}

void ExpectNothingStarted() {
  for (const int id : {1, 0, 2, -1}) {
    EXPECT_EQ(GetSturdyObject(id), nullptr);
  }
  EXPECT_EQ(EnvironmentManager::Instance().GetConfig(), nullptr);
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
}

TEST(EnvironmentLifecycle, SettingsApplyFromStartToExit) {
  const lab::TempFolder first;
  const lab::TempFolder second;
  const LogLines log(first.path());
  ExitSturdyEnvironment(1);
  ExpectNothingStarted();
  EXPECT_EQ(Start(first, "token"), 1);
  IZOSturdyObject* const object = GetSturdyObject(1);
  EXPECT_EQ(Start(second, "other"), 1);
  EXPECT_EQ(GetSturdyObject(1), object);
  EXPECT_EQ(EnvironmentManager::Instance().GetConfig()->GetBusinessToken(), "token");
  EXPECT_FALSE(zo_base::FolderExists(second.File("sturdy_comp")));

  ExitSturdyEnvironment(7);  // ends everything, whatever the id
  ExpectNothingStarted();
  const int64_t heap = CountHeapBytes();
  for (int id = 0; id < 1000; ++id) {
    ExitSturdyEnvironment(id);  // writes no line and keeps no memory
  }
  // One block per exit would be 24,000 bytes or more; less than that is noise of the process.
  EXPECT_LT(CountHeapBytes(), heap + 16000);
  const std::string banner = "\r\n" + std::string(53, '-') + " start " + std::string(53, '-');
  EXPECT_THAT(log.With("- start -"), ElementsAre(banner, banner));
  const auto data_path = std::filesystem::path(lab::DataFolder(first.path())).make_preferred();
  EXPECT_THAT(log.With("[environment]"),
              ElementsAre("[environment] Start version:" STURDY_VERSION_STRING
                          " business:im_g1 sdk_version: sv:0 pv:0 tp:0 key:set data_path:" +
                              data_path.string(),
                          "[environment] Exit"));

  EXPECT_EQ(Start(second), 1);
  EXPECT_EQ(EnvironmentManager::Instance().GetConfig()->GetBusinessToken(), "");
  ExitSturdyEnvironment(1);
  EXPECT_EQ(LogLines(second.path()).With("- start -").size(), 2u);
  EXPECT_EQ(log.With("- start -").size(), 2u);
}

// A daemon changes its working directory after the start; its log and caches must not move.
TEST(EnvironmentLifecycle, RelativeDataPathIsTakenFromTheFolderOfTheStart) {
  const lab::TempFolder folder;
  const lab::TempFolder elsewhere;
  const auto first = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EXPECT_EQ(StartSturdyEnvironment(EnvironmentSettings("data")), 1);
  std::filesystem::current_path(elsewhere.path());
  GetSturdyObject(1)->GetLBSService()->Start(LBSRecord("http://127.0.0.1:1/", "localhost:1"));
  ExitSturdyEnvironment(1);
  std::filesystem::current_path(first);
  EXPECT_TRUE(zo_base::FolderExists(lab::DataFolder(folder.File("data")) + "lbs"));
  EXPECT_FALSE(zo_base::FolderExists(elsewhere.File("data")));
}

// Fails the creation of each thread in turn, until a start passes.
TEST(EnvironmentLifecycle, ThrowingStartLeavesNothingStarted) {
  const lab::TempFolder folder;
  int failures = 0;
  for (bool passed = false; !passed; failures += !passed) {
    zo_base::FailThreadStartForTest(failures + 1);
    try {
      EXPECT_EQ(Start(folder), 1);
      passed = true;
    } catch (const std::system_error&) {
      ExpectNothingStarted();
    }
    zo_base::FailThreadStartForTest(0);
    EXPECT_EQ(Start(folder), 1);
    ExitSturdyEnvironment(1);
    ExpectNothingStarted();
  }
  EXPECT_GE(failures, 15) << "twelve workers and the agent's three threads";
  EXPECT_THAT(LogLines(folder.path()).With("[environment] Start failed"),
              testing::SizeIs(failures));
}

TEST(EnvironmentLifecycle, ConcurrentStartsAndExitsRunOneByOne) {
  const lab::TempFolder folder;
  RunThreads(4, [&folder](int number) {
    for (int round = 0; round < 10; ++round) {
      EXPECT_EQ(Start(folder), 1);
      GetSturdyObject(1);
      ExitSturdyEnvironment(number % 2 == 0 ? 7 : 1);
    }
  });
  ExpectNothingStarted();
}

}  // namespace
}  // namespace zo_sturdy
