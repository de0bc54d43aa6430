// Exits at the worst moments of requests, reports, service updates and host queries: none crashes,
// and none waits for more than a transfer in flight.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "lab/paths.h"
#include "tests/environment/client.h"
#include "tests/support/log_lines.h"
#include "tests/system/process_state.h"

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit{30};
constexpr int kRounds = 100;
constexpr char kLbsPath[] = "/lbs/conf.jsp";
constexpr char kGate[] = "gate";

// One environment in a folder of its own, brought to a moment, and out of it again.
class ExitMoments : public testing::Test {
 public:
  struct Moment {
    const char* name;
    void (ExitMoments::*come)();
    // What shows that the exit is under way and waits for the held transfer alone.
    bool (ExitMoments::*is_exiting)();
    int id = 1;  // by another one the transfers in flight end before the queries
  };

  zo_sturdy::IZOSturdyObject& Start(int64_t cache_expires_in_ms = 86400000) {
    WriteServerCache(FinalDataFolder(folder_->path()), {{"127.0.0.1", lab_.Port("dns"), false}}, {},
                     "localhost", cache_expires_in_ms);
    zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder_->path(), "token"));
    object_ = zo_sturdy::GetSturdyObject(1);
    return *object_;
  }
  void Fetch(const std::string& url) {
    Start();
    EXPECT_TRUE(object_->GetLBSService()->Start(LBSRecord(url, "default.example:9")));
  }
  void AwaitHeld() { EXPECT_TRUE(lab_.WaitForHeld(kGate, 1, kLimit)); }

  void QueryInVain() {
    std::vector<char> out(zo_sturdy::kQueryHostBufferSize);
    EXPECT_FALSE(object_->QueryHost("a.test", 0, out.data()));
    EXPECT_STREQ(out.data(), "{\"code\":1}");
    client_returned_ = true;
  }

  void ClientWaitsInItsQuery() {
    Start();
    clients_.emplace_back([this] { QueryInVain(); });
    AwaitHeld();
  }
  void CallbackWaitsInItsQuery() {
    lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(500, "")});
    static ExitMoments* current;
    current = this;
    Start().GetLBSService()->SetUpdateCallback([](int, const char*) { current->QueryInVain(); });
    EXPECT_TRUE(object_->GetLBSService()->Start(LBSRecord(lab_.Url("lbs", kLbsPath), "x:9")));
    AwaitHeld();
  }
  void ClientsQueryWithoutEnd() {
    lab_.SetBehaviours(
        "dns", lab::kHostQueryPath,
        {lab::Answer(R"({"code":200,"data":{"a.test":{"ip":["10.0.0.1"],"ttl":3600}}})")});
    Start();
    clients_stop_ = false;
    static std::atomic<int> answers;
    answers = 0;
    for (const char* host : {"a.test", "b.test", "127.0.0.1"}) {
      clients_.emplace_back([this, host] {
        std::vector<char> out(zo_sturdy::kQueryHostBufferSize);
        while (!clients_stop_) {
          object_->QueryHost(host, 0, out.data());
          ++answers;
        }
      });
    }
    EXPECT_TRUE(Comes([] { return answers > 10; }));
  }
  void ReportIsOut() { Report("${url:statistics}", 1, 60000); }
  void StatisticsWaitInTheirQuery() {
    lab_.SetBehaviours("statistics", lab::kReportPath, {lab::Answer(500, "")});
    Report("http://localhost:" + std::to_string(lab_.Port("statistics")), 100, 1);
  }
  void Report(const std::string& endpoint, int count, int time_ms) {
    const std::string threshold = R"({"count":)" + std::to_string(count) + R"(,"time":)" +
                                  std::to_string(time_ms) + R"(,"min_delay":0})";
    lab_.SetBehaviours(
        "lbs", kLbsPath,
        {lab::Answer(lab::LbsDocument()
                         .Link({"one.example:1"})
                         .LinkDefault({"two.example:2"})
                         .Lbs("${url:lbs}/lbs/conf.jsp")
                         .Set("report", R"({"host":")" + endpoint +
                                            R"(","apierror":{"threshold":)" + threshold + "}}")
                         .Text()),
         lab::Answer(500, "")});
    Fetch(lab_.Url("lbs", kLbsPath));
    EXPECT_TRUE(Comes([this] { return object_->GetLBSService()->GetLinkHostCount() == 1; }));
    object_->SetBusinessToken("second");
    AwaitHeld();
  }
  void ServiceUpdateIsInFlight() {
    Start(-1);
    AwaitHeld();
  }
  void RetryTimerIsArmed() {
    lab_.SetBehaviours("dns", lab::kServiceTablePath, {lab::Answer(500, "")});
    Start(-1);
    EXPECT_TRUE(LogLines(folder_->path()).WaitFor("[http dns] Update fail redo after :60000ms"));
  }
  void AgentWaitsInItsQuery() {
    lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(500, "")});
    Fetch("http://localhost:" + std::to_string(lab_.Port("lbs")) + kLbsPath);
    AwaitHeld();
  }

  bool ClientHasReturned() { return client_returned_; }
  bool ThreadsAreGone() { return !HasThread("http_agent_work") && !HasThread("statistic"); }

  // Gives the time of the exit.
  int64_t Round(const Moment& moment) {
    folder_ = std::make_unique<TempFolder>();
    for (const auto& [server, path] :
         {std::make_pair("dns", lab::kHostQueryPath), std::make_pair("dns", lab::kServiceTablePath),
          std::make_pair("statistics", lab::kReportPath)}) {
      lab_.SetBehaviours(server, path, {lab::Answer(500, "").HeldAt(kGate)});
    }
    client_returned_ = false;
    (this->*moment.come)();
    const auto begin = steady_clock::now();
    std::thread exit([&] { zo_sturdy::ExitSturdyEnvironment(moment.id); });
    if (moment.is_exiting != nullptr) {
      EXPECT_TRUE(Comes([&] { return (this->*moment.is_exiting)(); }));
    }
    lab_.Release(kGate);
    exit.join();
    const auto time = steady_clock::now() - begin;
    clients_stop_ = true;
    for (std::thread& client : clients_) {
      client.join();
    }
    clients_.clear();
    for (const char* thread : {"http_agent_work", "statistic", "http dns manager"}) {
      EXPECT_FALSE(HasThread(thread)) << thread;
    }
    lab_.Release(kGate);
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
  }

  lab::Lab lab_{{lab::HttpServer("lbs").On(kLbsPath, lab::Silent()),
                 lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Silent()),
                 lab::HttpServer("statistics").On(lab::kReportPath, lab::Silent())}};
  std::unique_ptr<TempFolder> folder_;
  zo_sturdy::IZOSturdyObject* object_ = nullptr;
  std::vector<std::thread> clients_;
  std::atomic<bool> client_returned_{false};
  std::atomic<bool> clients_stop_{false};
};

TEST_F(ExitMoments, NoneIsWrong) {
  const std::vector<Moment> moments = {
      {"client waits in its query", &ExitMoments::ClientWaitsInItsQuery,
       &ExitMoments::ClientHasReturned},
      {"client waits, exit by another id", &ExitMoments::ClientWaitsInItsQuery, nullptr, 7},
      {"callback waits in its query", &ExitMoments::CallbackWaitsInItsQuery,
       &ExitMoments::ClientHasReturned},
      {"clients query without end", &ExitMoments::ClientsQueryWithoutEnd, nullptr},
      {"clients query, exit by another id", &ExitMoments::ClientsQueryWithoutEnd, nullptr, 7},
      {"statistics wait in their query", &ExitMoments::StatisticsWaitInTheirQuery,
       &ExitMoments::ThreadsAreGone},
      {"report is out", &ExitMoments::ReportIsOut, &ExitMoments::ThreadsAreGone},
      {"service update is in flight", &ExitMoments::ServiceUpdateIsInFlight,
       &ExitMoments::ThreadsAreGone},
      {"retry timer is armed", &ExitMoments::RetryTimerIsArmed, nullptr},
      {"agent waits in its query", &ExitMoments::AgentWaitsInItsQuery,
       &ExitMoments::ThreadsAreGone}};
  std::map<std::string, int64_t> longest;
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    const Moment& moment = moments[static_cast<size_t>(round) % moments.size()];
    SCOPED_TRACE(std::to_string(round) + ": " + moment.name);
    const int64_t exit_ms = Round(moment);
    EXPECT_LT(exit_ms, zo_sturdy::kExitBoundSeconds * 1000);
    longest[moment.name] = std::max(longest[moment.name], exit_ms);
  }
  for (const auto& [name, ms] : longest) {
    std::printf("%6d ms at most: %s\n", static_cast<int>(ms), name.c_str());
  }
}

}  // namespace
