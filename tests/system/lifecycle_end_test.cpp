// The end of a process that runs an environment, and the end of the library in one that goes on.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <tuple>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tests/support/child.h"
#include "tests/support/sanitizers.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr std::chrono::seconds kLimit{30};

// The way of the end, and what the transfers in flight wait for.
class ProcessEnd : public testing::TestWithParam<std::tuple<std::string, lab::Behaviour>> {};

// The sanitizers can't end a forked child of a process with many threads.
std::vector<std::string> Ways() {
  std::vector<std::string> ways = {"return", "thread", "callback", "call"};
  if (!kSanitized) {
    ways.push_back("fork");
  }
  return ways;
}

INSTANTIATE_TEST_SUITE_P(
    All, ProcessEnd,
    testing::Combine(testing::ValuesIn(Ways()), testing::Values(lab::Silent(), lab::Endless(1))),
    [](const auto& parameters) {
      return std::get<0>(parameters.param) +
             (std::get<1>(parameters.param).kind == lab::Behaviour::Kind::kSilent ? "Silent"
                                                                                  : "Endless");
    });

TEST_P(ProcessEnd, WithFetchesInFlightIsClean) {
  const auto& [way, in_flight] = GetParam();
  const lab::Behaviour first = lab::Answer(lab::LbsDocument()
                                               .Link({"one.example:1"})
                                               .LinkDefault({"two.example:2"})
                                               .Lbs("${url:lbs}/lbs/conf.jsp")
                                               .Text());
  const lab::Lab lab({lab::HttpsServer("lbs").On("/lbs/conf.jsp", {first, in_flight, first})});
  const TempFolder folder;
  Child host({LIFECYCLE_HOST, way, folder.path(), lab.Url("lbs", "/lbs/conf.jsp")});
  EXPECT_TRUE(lab.WaitForRequests(2, kLimit));
  host.Signal();
  EXPECT_EQ(host.ReadRest(), "");
  EXPECT_EQ(host.Wait(), 0);
}

TEST(Unload, LeavesNothingAfterEachOfFiftyRounds) {
  constexpr int kNoNetwork = 77;
  const TempFolder folder;
  Child host({UNLOAD_HOST, STURDY_LIBRARY, folder.path(), "50"});
  EXPECT_EQ(host.ReadRest(), "");
  const int code = host.Wait();
  if (code == kNoNetwork) {
    GTEST_SKIP() << "this user may not make a network namespace; five rounds were left out";
  }
  EXPECT_EQ(code, 0);
}

}  // namespace
