// Many starts and exits of the environment in one process, after which nothing has piled up; and
// the end of a process without an exit.
#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <thread>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/service_table.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/posix/has_thread.h"
#include "tests/support/process_state.h"
#include "tests/support/sanitizers.h"

namespace {

using std::chrono::steady_clock;

constexpr int kRounds = kSanitized ? 20 : 200;
constexpr int kEarlyRound = kRounds / 10;

int CountMappings(bool of_log_buffers) {
  int count = 0;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    count += (line.find(".qel_mmap") != std::string::npos) == of_log_buffers;
  }
  return count;
}

class Rounds : public ClientTest {
 protected:
  Rounds() { dns_endpoints_.clear(); }  // a service update is in flight, too

  // Starts, and exits during a fetch. Returns the time of the exit. Each tenth exit meets an answer
  // that arrives, and each tenth one whose body drips in.
  steady_clock::duration Round(int round) {
    // Fetch until the answer is held, drips, or has just been released.
    const std::string gate = "gate " + std::to_string(round);
    const std::vector<std::string> links(static_cast<size_t>(1 + round / 10), "one.example:1");
    const bool in_arrival = round % 10 == 0;
    const bool dripped = round % 10 == 5;
    lab::Behaviour answer = lab::Answer(TestDocument(links).Text());
    lab_.SetBehaviours("lbs", kLbsPath, {dripped ? answer.InPieces(10, 50) : answer.HeldAt(gate)});
    lab_.ForgetRequests();
    auto& service = Fetch({lab_.Url("lbs", kLbsPath)});
    EXPECT_TRUE(dripped ? lab_.journal().WaitForRequests(1, kPatience)
                        : lab_.gates().WaitForHeld(gate, 1, kPatience));
    if (in_arrival) {
      lab_.gates().Release(gate);
    }
    if (round % 20 == 0) {
      EXPECT_TRUE(
          WaitUntil([&] { return service.GetLinkHostCount() == static_cast<int>(links.size()); }));
    }
    // Exit; a held answer is released when the exit waits for the transfer alone.
    const auto begin = steady_clock::now();
    std::thread exit([] { zo_sturdy::ExitSturdyEnvironment(1); });
    if (!in_arrival && !dripped) {
      EXPECT_TRUE(WaitUntil([] { return !HasThread("http_agent_work"); }));
      lab_.gates().Release(gate);
    }
    exit.join();
    const auto time = steady_clock::now() - begin;
    EXPECT_TRUE(lab_.journal().WaitForOpen("lbs", 0, kPatience));
    return time;
  }

  lab::Lab lab_{{lab::HttpServer("lbs").On(kLbsPath, lab::Silent())}};
};

TEST_F(Rounds, LeaveNothingButOneLogBufferEach) {
  const int64_t threads = CountThreads();
  int64_t descriptors = 0;
  int log_buffers = 0;
  int others = 0;
  for (int round = 1; round <= kRounds; ++round) {
    const auto exit = Round(round);
    std::printf("%4d ms%s", static_cast<int>(exit / std::chrono::milliseconds(1)),
                round % 10 == 0 ? "\n" : "");
    EXPECT_LT(exit, std::chrono::seconds(zo_sturdy::kExitBoundSeconds));
    EXPECT_TRUE(WaitUntil([&] { return CountThreads() <= threads; })) << round;
    if (round == kEarlyRound) {
      descriptors = CountHandles();
      log_buffers = CountMappings(true);
      others = CountMappings(false);
    }
  }
  EXPECT_LE(CountHandles(), descriptors);
  EXPECT_LE(CountMappings(true), log_buffers + kRounds - kEarlyRound);
  if (!kSanitized) {  // the sanitizers' own memory grows
    EXPECT_LE(CountMappings(false), others);
  }
}

// The update is sent while the threads that carry it start.
TEST(FirstServiceUpdate, IsSentOnceAtEachOfManyStarts) {
  const lab::Lab lab({lab::HttpServer("dns").On(
      lab::kServiceTablePath,
      lab::Answer(
          lab::ServiceTable().Domain("localhost").V4({"${endpoint:dns}"}).Ttl(3600).Text()))});
  for (size_t start = 1; start <= (kSanitized ? 50 : 200); ++start) {
    const lab::TempFolder folder;
    lab::WriteServerCache(lab::DataFolder(folder.path()),
                          {.ipv4 = {{"127.0.0.1", lab.Port("dns"), false}},
                           .expires_in = std::chrono::milliseconds(-1)});
    EXPECT_EQ(zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder.path())), 1);
    EXPECT_TRUE(lab.journal().WaitForRequestsFor(lab::kServiceTablePath, start, kPatience));
    zo_sturdy::ExitSturdyEnvironment(1);
    ASSERT_EQ(lab.journal().RequestsFor(lab::kServiceTablePath).size(), start);
  }
  EXPECT_THAT(lab.journal().Requests().back().HeaderLines(),
              testing::IsSupersetOf({"Host: localhost", "X-QORVIN-BUSINESS:  im_g1",
                                     "X-QORVIN-SDKVER:  _0_0", "X-QORVIN-APPKEY:"}));
}

TEST(ProcessEnd, WithFetchesInFlightIsClean) {
  std::vector<std::string> ways = {"return", "thread", "callback", "call",
                                   "static", "joined", "many"};
  if (!kSanitized) {
    // The sanitizers can't end a forked child of many threads.
    ways.insert(ways.end(), {"fork", "forked", "forked in callback"});
  }
  for (const std::string& way : ways) {
    for (const std::string in_flight : {"silent", "endless", "deaf"}) {
      const bool is_deaf = in_flight == "deaf";
      if (is_deaf && way != "return") {
        continue;  // some ways need an answer, and none differs
      }
      const lab::Behaviour second = in_flight == "endless" ? lab::Endless(1) : lab::Silent();
      const lab::Behaviour document =
          lab::Answer(TestDocument({"one.example:1"}, {(is_deaf ? "${url:deaf}" : "${url:lbs}") +
                                                       std::string(kLbsPath)})
                          .Text());
      for (const char* openssl : {"openssl-later", "openssl-first"}) {
        SCOPED_TRACE(way + " " + in_flight + " " + openssl);
        const lab::Lab lab({lab::HttpsServer("lbs").On(kLbsPath, {document, second, document}),
                            lab::HttpsServer("deaf").Listens(lab::Listening::kNoHandshake)});
        const lab::TempFolder folder;
        lab::Child host({LIFECYCLE_HOST, way, folder.path(), lab.Url("lbs", kLbsPath), openssl});
        EXPECT_TRUE(is_deaf ? lab.journal().WaitForAccepted("deaf", 1, kPatience)
                            : lab.journal().WaitForRequests(way == "many" ? 26 : 2, kPatience));
        host.Signal();
        EXPECT_EQ(host.ReadRest(), "");
        EXPECT_EQ(host.Wait(), 0);
        const std::string log = LogLines(folder.path()).Text();
        EXPECT_EQ(log.find("ignored"), std::string::npos);
        EXPECT_EQ(log.find(" failed: shut_down after ") != std::string::npos,
                  way == "static" || way == "joined" || way == "forked")
            << log;
      }
    }
  }
}

}  // namespace
