// The end of a process that runs an environment, the end of the library in a process that goes on,
// and life without an environment.
#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <string>
#include <tuple>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tests/environment/client.h"
#include "tests/support/child.h"
#include "tests/support/log_lines.h"
#include "tests/support/sanitizers.h"

namespace {

constexpr std::chrono::seconds kLimit{30};

// The way of the end, what the transfers in flight wait for, and whether the host has OpenSSL
// first.
class ProcessEnd
    : public testing::TestWithParam<std::tuple<std::string, lab::Behaviour, std::string>> {};

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
    testing::Combine(testing::ValuesIn(Ways()), testing::Values(lab::Silent(), lab::Endless(1)),
                     testing::Values("", "openssl-first")),
    [](const auto& parameters) {
      return std::get<0>(parameters.param) +
             (std::get<1>(parameters.param).kind == lab::Behaviour::Kind::kSilent ? "Silent"
                                                                                  : "Endless") +
             (std::get<2>(parameters.param).empty() ? "" : "OpenSSLFirst");
    });

TEST_P(ProcessEnd, WithFetchesInFlightIsClean) {
  const auto& [way, in_flight, openssl] = GetParam();
  const lab::Behaviour first = lab::Answer(lab::LbsDocument()
                                               .Link({"one.example:1"})
                                               .LinkDefault({"two.example:2"})
                                               .Lbs("${url:lbs}/lbs/conf.jsp")
                                               .Text());
  const lab::Lab lab({lab::HttpsServer("lbs").On("/lbs/conf.jsp", {first, in_flight, first})});
  const TempFolder folder;
  std::vector<std::string> command = {LIFECYCLE_HOST, way, folder.path(),
                                      lab.Url("lbs", "/lbs/conf.jsp")};
  if (!openssl.empty()) {
    command.push_back(openssl);
  }
  Child host(command);
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

TEST(NoEnvironment, LinesAreDroppedAndCostNothing) {
  const auto exit_often = [](int times) {
    for (int i = 0; i < times; ++i) {
      zo_sturdy::ExitSturdyEnvironment(i % 3);
      EXPECT_EQ(zo_sturdy::GetSturdyObject(1), nullptr);
    }
  };
  const TempFolder folder;
  exit_often(100);  // before a start
  EXPECT_EQ(zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder.path())), 1);
  exit_often(100);
  EXPECT_EQ(LogLines(folder.path()).With("- start -").size(), 2u) << "one start, one exit";
  const size_t before = mallinfo2().uordblks;
  exit_often(1000);
  EXPECT_LT(mallinfo2().uordblks, before + 1000);
}

}  // namespace
