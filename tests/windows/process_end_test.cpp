#include <gmock/gmock.h>

#include <chrono>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/client_calls.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_document.h"

namespace {

using std::chrono::steady_clock;

// With a transfer in flight a process exits the environment, returns without an exit, or is killed.
TEST(ProcessEnd, TakesNoLongAndLosesNoLineAndNoCache) {
  for (const std::string way : {"exit", "return", "kill"}) {
    SCOPED_TRACE(way);
    const lab::Lab lab({lab::HttpServer("lbs").On(
        kLbsPath, {lab::Answer(TestDocument().Text()), lab::Silent(), lab::Answer(503)})});
    const lab::TempFolder folder;
    lab::WriteServerCache(lab::DataFolder(folder.path()), {.ipv4 = {{"127.0.0.1"}}});
    const LogLines log(folder.path());

    lab::Child client({END_CLIENT, way, folder.path(), lab.Url("lbs", kLbsPath)});
    EXPECT_NE(client.ReadLineWith("one.example:1"), "");
    EXPECT_TRUE(lab.journal().WaitForRequests(2, kPatience));
    const auto begin = steady_clock::now();
    if (way == "kill") {
      client.Kill();
    } else {
      client.Signal();
      EXPECT_EQ(client.Wait(), 0);
    }
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(zo_sturdy::kExitBoundSeconds));
    EXPECT_THAT(log.With("[lbs] Fetch begins number:2"), testing::SizeIs(1));
    EXPECT_THAT(log.With("[environment] Exit"), testing::SizeIs(way == "exit" ? 1 : 0));

    // The next process has both, though the fetch fails.
    const Messages before = log.Texts();
    lab::Child next({END_CLIENT, "exit", folder.path(), lab.Url("lbs", kLbsPath)});
    EXPECT_NE(next.ReadLineWith("one.example:1"), "");
    next.Signal();
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_THAT(log.With("[lbs] Fetch begins number:1"), testing::SizeIs(2));
    EXPECT_THAT(log.Texts(), testing::IsSupersetOf(before));
  }
}

}  // namespace
