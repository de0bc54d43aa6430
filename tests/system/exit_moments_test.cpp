// Exits at the worst moments of requests, reports, service updates and host queries: none crashes,
// and none waits for more than a transfer in flight.
#include <atomic>
#include <functional>
#include <thread>

#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "tests/support/client.h"
#include "tests/support/log_lines.h"
#include "tests/support/posix/has_thread.h"

namespace {

constexpr int kRounds = 100;
constexpr char kGate[] = "gate";
constexpr std::chrono::milliseconds kExpired(-1);

struct Moment {
  const char* name;
  std::function<void()> reach;
  // Shows that the exit is under way and waits for the held transfer alone.
  std::function<bool()> is_exiting;
  int id = 1;
  int held = 1;  // transfers
};

// One environment after the other, each with its own folder, brought to a moment and exited there.
class ExitMoments : public ClientTest {
 protected:
  void StartWithEndpoint(std::chrono::milliseconds expires_in = std::chrono::hours(24)) {
    dns_endpoints_.clear();
    lab::WriteServerCache(
        lab::DataFolder(data_path_),
        {.ipv4 = {{"127.0.0.1", lab_.Port("dns"), false}}, .expires_in = expires_in});
    object_ = &Start("token");
  }
  void FetchFrom(const std::string& host, void (*callback)(int, const char*) = nullptr) {
    StartWithEndpoint();
    object_->GetLBSService()->SetUpdateCallback(callback);
    const std::string url = "http://" + host + ":" + std::to_string(lab_.Port("lbs")) + kLbsPath;
    EXPECT_TRUE(object_->GetLBSService()->Start(LBSRecord(url, kDefaultLink)));
  }

  static void QueryInVain() {
    std::string out(zo_sturdy::kQueryHostBufferSize, '\0');
    EXPECT_FALSE(object_->QueryHost("a.test", 0, out.data()));
    EXPECT_STREQ(out.c_str(), "{\"code\":1}");
    client_returned_ = true;
  }
  void QueryFromAClient() {
    StartWithEndpoint();
    clients_.emplace_back(QueryInVain);
  }
  void QueryWithoutEnd() {
    lab_.SetBehaviours(
        "dns", lab::kHostQueryPath,
        {lab::Answer(R"({"code":200,"data":{"a.test":{"ip":["10.0.0.1"],"ttl":3600}}})")});
    StartWithEndpoint();
    for (const char* host : {"a.test", "b.test", "127.0.0.1"}) {
      clients_.emplace_back([this, host] {
        std::string out(zo_sturdy::kQueryHostBufferSize, '\0');
        for (; !clients_stop_; ++answers_) {
          object_->QueryHost(host, 0, out.data());
        }
      });
    }
    EXPECT_TRUE(WaitUntil([&, before = answers_.load()] { return answers_ > before + 10; }));
  }
  // The second fetch fails, so its failure is reported.
  void Report(const std::string& endpoint, int count, int time) {
    const auto document =
        TestDocument().Report({.host = endpoint, .count = count, .time = time, .min_delay_s = 0});
    lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(document.Text()), lab::Answer(500)});
    FetchFrom("127.0.0.1");
    EXPECT_TRUE(WaitUntil([] { return object_->GetLBSService()->GetLinkHostCount() == 1; }));
    object_->SetBusinessToken("second");
  }
  void ArmRetryTimer() {
    lab_.SetBehaviours("dns", lab::kServiceTablePath, {lab::Answer(500)});
    StartWithEndpoint(kExpired);
    EXPECT_TRUE(LogLines(data_path_).WaitFor("[http dns] Update fail redo after :60000ms"));
  }

  // Exits at the moment, and checks that the exit ends in time and leaves no thread.
  void Round(const Moment& moment) {
    // Reach the moment, with the requests held.
    const lab::Behaviour held = lab::Answer(500).HeldAt(kGate);
    lab_.SetBehaviours("dns", lab::kHostQueryPath, {held});
    lab_.SetBehaviours("dns", lab::kServiceTablePath, {held});
    lab_.SetBehaviours("statistics", lab::kReportPath, {held});
    lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(500)});
    client_returned_ = clients_stop_ = false;
    moment.reach();
    EXPECT_TRUE(lab_.gates().WaitForHeld(kGate, moment.held, kPatience));

    // Exit, and let the transfers end once the exit waits for them alone.
    const auto begin = std::chrono::steady_clock::now();
    std::thread exit(zo_sturdy::ExitSturdyEnvironment, moment.id);
    EXPECT_TRUE(WaitUntil(moment.is_exiting));
    lab_.gates().Release(kGate);
    exit.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin,
              std::chrono::seconds(zo_sturdy::kExitBoundSeconds));

    // The clients' calls return, and the threads are gone.
    clients_stop_ = true;
    clients_.clear();
    for (const char* thread : {"http_agent_work", "statistic", "http dns manager"}) {
      EXPECT_FALSE(HasThread(thread)) << thread;
    }
    lab_.gates().Release(kGate);
  }

  lab::Lab lab_{{lab::HttpServer("lbs"), lab::HttpServer("dns"), lab::HttpServer("statistics")}};
  std::vector<std::jthread> clients_;
  std::atomic<bool> clients_stop_{false};
  std::atomic<int> answers_{0};
  // The client's callback is a plain function.
  static inline zo_sturdy::IZOSturdyObject* object_ = nullptr;
  static inline std::atomic<bool> client_returned_{false};
};

TEST_F(ExitMoments, EndInTimeAndLeaveNoThread) {
  const auto returned = [] { return client_returned_.load(); };
  const auto ended = [] { return !HasThread("http_agent_work") && !HasThread("statistic"); };
  const auto at_once = [] { return true; };
  const std::string reports = "http://localhost:" + std::to_string(lab_.Port("statistics"));
  const std::vector<Moment> moments = {
      {"client waits in its query", [&] { QueryFromAClient(); }, returned},
      {"client waits, exit by another id", [&] { QueryFromAClient(); }, at_once, 7},
      {"callback waits in its query",
       [&] { FetchFrom("127.0.0.1", [](int, const char*) { QueryInVain(); }); }, returned},
      {"statistics wait in their query", [&] { Report(reports, 100, 1); }, ended},
      {"report is sent", [&] { Report("${url:statistics}", 1, 60000); }, ended},
      {"service update is in flight", [&] { StartWithEndpoint(kExpired); }, ended},
      {"agent waits in its query", [&] { FetchFrom("localhost"); }, ended},
      {"clients query without end", [&] { QueryWithoutEnd(); }, at_once, 1, 0},
      {"clients query, exit by another id", [&] { QueryWithoutEnd(); }, at_once, 7, 0},
      {"retry timer is armed", [&] { ArmRetryTimer(); }, at_once, 1, 0}};
  for (size_t round = 0; round < kRounds && !HasFailure(); ++round) {
    const Moment& moment = moments[round % moments.size()];
    SCOPED_TRACE(std::to_string(round) + ": " + moment.name);
    data_path_ = folder_.File(std::to_string(round));
    Round(moment);
  }
}

}  // namespace
