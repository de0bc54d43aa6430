// Many lives of the environment in one process: nothing may pile up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "tests/environment/client.h"
#include "tests/support/sanitizers.h"
#include "tests/system/process_state.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit{30};
constexpr const char* kPath = "/lbs/conf.jsp";
constexpr int kRounds = kSanitized ? 20 : 200;
constexpr int kEarlyRound = kRounds / 10;

int CountEntries(const char* folder) {
  return static_cast<int>(std::distance(fs::directory_iterator(folder), {}));
}

struct Mappings {
  int log_buffers = 0;
  int others = 0;
};

Mappings CountMappings() {
  Mappings count;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    ++(line.find(".qel_mmap") != std::string::npos ? count.log_buffers : count.others);
  }
  return count;
}

class Rounds : public testing::Test {
 protected:
  // One life, which ends with a fetch in flight. Gives the time of the exit.
  int64_t Round(int round) {
    const std::string gate = "gate " + std::to_string(round);
    const int links = 1 + round / 10;
    const bool in_arrival = round % 10 == 0;
    const bool dripped = round % 10 == 5;
    lab::Behaviour answer =
        lab::Answer(lab::LbsDocument()
                        .Link(lab::LbsDocument::List(static_cast<size_t>(links), "one.example:1"))
                        .LinkDefault({"two.example:2"})
                        .Lbs("${url:lbs}/lbs/conf.jsp")
                        .Text());
    lab_.SetBehaviours("lbs", kPath, {dripped ? answer.InPieces(10, 50) : answer.HeldAt(gate)});
    lab_.ForgetRequests();
    zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder_.path(), "token"));
    auto& service = *zo_sturdy::GetSturdyObject(1)->GetLBSService();
    service.Start(LBSRecord(lab_.Url("lbs", kPath), "default.example:9"));
    EXPECT_TRUE(dripped ? lab_.WaitForRequests(1, kLimit) : lab_.WaitForHeld(gate, 1, kLimit));
    if (in_arrival) {
      lab_.Release(gate);
      if (round % 20 == 0) {
        EXPECT_TRUE(Comes([&] { return service.GetLinkHostCount() == links; }));
      }
    }
    const auto begin = steady_clock::now();
    std::thread exit([] { zo_sturdy::ExitSturdyEnvironment(1); });
    if (!in_arrival && !dripped) {
      // With the agent's thread gone the exit waits for the transfer alone.
      EXPECT_TRUE(Comes([] { return !HasThread("http_agent_work"); }));
      lab_.Release(gate);
    }
    exit.join();
    const auto time = steady_clock::now() - begin;
    EXPECT_TRUE(lab_.WaitForOpen("lbs", 0, kLimit));
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
  }

  lab::Lab lab_{{lab::HttpServer("lbs").On(kPath, lab::Silent())}};
  const TempFolder folder_;
};

TEST_F(Rounds, LeaveNothingButOneLogBufferEach) {
  const int threads = CountEntries("/proc/self/task");
  int descriptors = 0;
  Mappings early;
  for (int round = 1; round <= kRounds; ++round) {
    const int64_t exit_ms = Round(round);
    std::printf("%4d ms%s", static_cast<int>(exit_ms), round % 10 == 0 ? "\n" : "");
    EXPECT_LT(exit_ms, zo_sturdy::kExitBoundSeconds * 1000);
    EXPECT_TRUE(Comes([&] { return CountEntries("/proc/self/task") <= threads; })) << round;
    if (round == kEarlyRound) {
      descriptors = CountEntries("/proc/self/fd");
      early = CountMappings();
    }
  }
  EXPECT_LE(CountEntries("/proc/self/fd"), descriptors);
  const Mappings late = CountMappings();
  EXPECT_LE(late.log_buffers - early.log_buffers, kRounds - kEarlyRound);
  if (!kSanitized) {  // the sanitizers' own memory grows
    EXPECT_LE(late.others, early.others);
  }
}

}  // namespace
