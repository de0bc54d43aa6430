// The failure statistics alone: what is gathered, when it goes out, and what a report holds.
#include <gmock/gmock.h>

#include <barrier>
#include <fstream>
#include <limits>

#include "base/clock.h"
#include "base/json/json.h"
#include "base/platform/thread.h"
#include "base/thread_info.h"
#include "src/sturdy/environment/environment_manager.h"
#include "src/sturdy/http_agent/logic/statistic_count_timer_invoker.h"
#include "tests/http_agent/agent_fixture.h"

namespace {

using testing::ElementsAre;
using zo_base::json11::Json;
using zo_sturdy::EnvironmentManager;
using zo_sturdy::MultipleURLHttpRequest;
using zo_sturdy::StatisticRecord;
using zo_sturdy::StatisticSettings;

using Records = std::list<StatisticRecord>;

Records Failures(int first, int last) {
  Records records;
  for (int i = first; i <= last; ++i) {
    records.push_back({"u" + std::to_string(i), {}, "", "", 0, 0, 0});
  }
  return records;
}

// Waits for a lock, or for something else.
bool Sleeps(uint32_t thread) {
  std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string id, name, state;
  stat >> id >> name >> state;
  return state == "S";
}

// The statistics over an invoker that keeps what it is given.
class StatisticsTest : public testing::Test {
 protected:
  struct Report {
    MultipleURLHttpRequest request;
    std::string thread;
  };

  StatisticsTest() {
    auto* const log = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
    log->SetLogFile(folder_.File("statistic.log"), 0, 0);
    log->SetLevel(zo_base::LV_PRO);
    config_->SetHttpRequestInvoker([this](const MultipleURLHttpRequest& request, bool on_agent) {
      EXPECT_FALSE(on_agent);
      const zo_base::ThreadInfo* thread = zo_base::CurrentThreadInfo();
      const std::lock_guard guard(mutex_);
      reports_.push_back({request, thread != nullptr ? thread->name : ""});
    });
    EnvironmentManager::Instance().SetConfigForTest(config_);
    statistics_->Start();
  }
  ~StatisticsTest() override {
    statistics_.reset();
    EnvironmentManager::Instance().SetConfigForTest(nullptr);
  }

  void Set(int32_t count, int32_t time, int64_t min_delay, const std::string& host = "http://s:1") {
    config_->statistic_settings.Set(StatisticSettings{true, host, count, time, min_delay});
  }
  // A request each.
  void Fail(std::initializer_list<int> urls) {
    for (const int i : urls) {
      statistics_->Invoke(Failures(i, i), false);
    }
  }
  void OnStatistic(const std::function<void()>& task) {
    std::promise<void> ran;
    statistics_->PostDelayedTask(0, [&] {
      task();
      ran.set_value();
    });
    ran.get_future().wait();
  }
  // Behind what falls due, and behind what that hands on.
  void Pass(int64_t ms) {
    clock_.Advance(ms);
    OnStatistic([] {});
    OnStatistic([] {});
  }
  Report Sent(size_t i) {
    const std::lock_guard guard(mutex_);
    return reports_.at(i);
  }
  // The URLs of each report so far, with a blank between two.
  std::vector<std::string> SentUrls() {
    const std::lock_guard guard(mutex_);
    std::vector<std::string> all;
    for (const Report& report : reports_) {
      std::string error, urls;
      const Json body = Json::parse(report.request.body, error);
      for (const Json& record : body.array_items()) {
        urls += (urls.empty() ? "" : " ") + record["request_url"].string_value();
      }
      all.push_back(urls);
    }
    return all;
  }
  // What is told.
  const std::string kOne = "[statistic][count] Statistic count :1";
  const std::string kByTime = "[statistic][time out] Statistic count :";
  const std::string kGood = "[statistic]Statistic ret:true";
  std::string Data(size_t i) { return "[statistic] Do statistic data :" + Sent(i).request.body; }
  void End(size_t i, bool success) {
    const auto request = Sent(i).request;
    OnStatistic([&] { request.callback(success, "", ""); });
    Pass(0);
  }

  const std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_ =
      zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  const TempFolder folder_;
  LogLines log_{folder_.File("statistic.log")};
  zo_base::ScopedTestClock clock_;
  const std::shared_ptr<zo_sturdy::_EnvironmentConfig> config_ =
      std::make_shared<zo_sturdy::_EnvironmentConfig>();
  std::mutex mutex_;
  std::vector<Report> reports_;
  std::shared_ptr<zo_sturdy::StatisticCountTimerInvoker> statistics_ =
      std::make_shared<zo_sturdy::StatisticCountTimerInvoker>();
};

TEST_F(StatisticsTest, TenthFailureOrAMinuteMakesABatch) {
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(SentUrls().empty());
    statistics_->Invoke(Failures(i, i), false);
  }
  EXPECT_EQ(SentUrls().size(), 1U);
  Pass(60000);
  Fail({0});  // the minute is that of the first failure
  Pass(30000);
  Fail({1});
  Pass(29999);
  EXPECT_EQ(SentUrls().size(), 1U);
  Pass(1);
  Fail({2});
  Pass(60000);
  EXPECT_THAT(SentUrls(), ElementsAre("u0 u1 u2 u3 u4 u5 u6 u7 u8 u9", "u0 u1", "u2"));
  EXPECT_EQ(Sent(0).thread + "," + Sent(1).thread, ",statistic");
  EXPECT_THAT(log_.Tagged({"[statistic]"}),
              ElementsAre(Data(0), "[statistic][count] Statistic count :10", kByTime + "2", Data(1),
                          kByTime + "1", Data(2)));
}

TEST_F(StatisticsTest, ReportTellsEachFailure) {
  config_->address_family = net::kIPFamilyV6;
  struct Case {
    const char* business;
    const char* host;
    const char* url_host;
    const char* sdktype;
  };
  // A name without "_" keeps the type of the report before.
  const std::vector<Case> cases = {{"none", "s.test", "s.test", ""},
                                   {"im_g1", "https://s.test:8", "s.test", "im"},
                                   {"none", "s.test:8", "s.test:8", "im"},
                                   {"_x", "http://[::1]:8", "[::1]", ""},
                                   {"a_b_c", "", "", "a"}};
  const Records failures = {{"http://a/\"", {"1.2.3.4", "[::1]"}, "key", "x", 1ULL << 42, -1, 7},
                            {"http://a/\"", {}, "", "", 0, 404, -8}};
  for (size_t i = 0; i < cases.size(); ++i) {
    config_->business = cases[i].business;
    Set(1, 60000, 10000, cases[i].host);
    statistics_->Invoke(failures, false);
    const auto [heads, body, time_out, multiple_time_out, type, urls, check, callback, dns,
                family] = Sent(i).request;
    EXPECT_EQ(std::tie(time_out, multiple_time_out, type, dns, family),
              std::make_tuple(7000, 2000, 1, true, 2));
    ASSERT_EQ(urls.size(), 1U);
    EXPECT_EQ(std::tie(urls[0].url, urls[0].host),
              std::make_tuple(cases[i].host + std::string("/statics/report/im/api/error"),
                              cases[i].url_host));
    EXPECT_THAT(heads, ElementsAre("Content-Type: application/json",
                                   "sdktype:" + std::string(cases[i].sdktype)));
    EXPECT_EQ(body, R"([{"appkey": "key", "error_code": -1, "host_ip": ["1.2.3.4", "[::1]"], )"
                    R"("platform": "pc", "request_url": "http://a/\"", "send_time": 7, )"
                    R"("timestamp": 4398046511104}, )"
                    R"({"appkey": "", "error_code": 404, "host_ip": [], "platform": "pc", )"
                    R"("request_url": "http://a/\"", "send_time": -8, "timestamp": 0}])");
    Messages expected, told;
    log_.StartHere();
    for (const int code : {0, 200, 204}) {
      bool need_statistic = true;
      EXPECT_EQ(check(0, code, "", "answer", need_statistic), code == 200);
      EXPECT_FALSE(need_statistic);
      expected.push_back("LV_APP [statistic]Statistic check code:" + std::to_string(code));
      expected.push_back(
          "LV_PRO [statistic]Statistic check \r\n-----------------------\r\nanswer"
          "\r\n-----------------------");
    }
    for (const LogMessage& message : log_.All()) {
      told.push_back(message.level + " " + message.text);
    }
    EXPECT_EQ(told, expected);
  }
}

TEST_F(StatisticsTest, KeepsTheNewestTwentyAndEachUrlOnce) {
  Set(3, 60000, 10000);
  statistics_->Invoke(Failures(1, 25), false);
  statistics_->Invoke(Failures(25, 26), false);
  Fail({26});
  EXPECT_THAT(SentUrls(), ElementsAre("u7 u8 u9 u10 u11 u12 u13 u14 u15 u16 u17 u18 u19 u20 u21 "
                                      "u22 u23 u24 u25 u26"));
}

TEST_F(StatisticsTest, BatchTooSoonAfterAGoodOneIsLost) {
  Set(1, 60000, 10000);
  Fail({1, 2});  // two batches at once: nothing marks the first
  End(0, true);
  Pass(4000);
  Fail({3});
  Pass(5999);
  EXPECT_EQ(SentUrls().size(), 2U);
  Pass(1);
  EXPECT_EQ(Sent(2).request.body, "[]");
  // A first failure starts the timer anew.
  End(2, true);
  Fail({4});
  Set(2, 60000, 10000);
  Fail({5});
  Pass(59999);
  EXPECT_EQ(SentUrls().size(), 3U);
  Pass(1);
  EXPECT_THAT(SentUrls(), ElementsAre("u1", "u2", "", "u5"));
  const std::string soon = "[statistic] Time now - last report time < 10000 (";
  EXPECT_THAT(log_.Tagged({"[statistic]"}),
              ElementsAre(Data(0), kOne, Data(1), kOne, kGood, soon + "4000) stop report", kOne,
                          kByTime + "0", Data(2), kGood, soon + "0) stop report", kOne,
                          kByTime + "1", Data(3)));
}

TEST_F(StatisticsTest, FailedReportGoesBackToTheFront) {
  Set(2, 60000, 10000);
  Fail({1, 2, 3});
  End(0, false);
  EXPECT_THAT(SentUrls(), ElementsAre("u1 u2", "u1 u2 u3"));
  Sent(1).request.callback(false, "", "");  // no loop to hand it to
  const auto request = Sent(1).request;
  Pass(60000);
  EXPECT_EQ(SentUrls().size(), 2U);
  EXPECT_THAT(log_.With("Statistic ret"),
              ElementsAre("[statistic]Statistic ret:false", "[statistic]Statistic ret:false"));
  statistics_->Stop();
  statistics_.reset();
  request.callback(false, "", "");
  EXPECT_EQ(log_.With("Statistic ret").size(), 2U);
}

TEST_F(StatisticsTest, SettingsOfAnyValueAreDefined) {
  constexpr int64_t kEver = std::numeric_limits<int64_t>::max();
  constexpr int64_t kLongestMs = std::numeric_limits<int32_t>::max();
  // New ones don't touch what has been gathered, but a batch goes where they say.
  Set(9, 60000, 0);
  Fail({1});
  config_->statistic_settings.Set(StatisticSettings{false, "http://t:2", 1, 1, 0});
  Fail({9});
  Pass(59999);
  EXPECT_TRUE(SentUrls().empty());
  Pass(1);
  EXPECT_EQ(Sent(0).request.urls[0].url, "http://t:2/statics/report/im/api/error");
  Set(0, 60000, -1);
  Fail({2});
  End(1, true);
  Fail({3});
  Set(9, -5, kEver);
  Fail({4});
  Pass(0);
  Pass(kLongestMs);  // the wait goes past the timer's longest
  Set(1, 60000, kEver);
  clock_.SetWall(1000);  // set back: the delay counts as gone by
  Fail({5});
  EnvironmentManager::Instance().SetConfigForTest(nullptr);
  Fail({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});  // nothing to send with
  EXPECT_THAT(SentUrls(), ElementsAre("u1", "u2", "u3", "u5"));
  const std::string soon = "[statistic] Time now - last report time < 9223372036854775807 (";
  EXPECT_THAT(
      log_.Tagged({"[statistic]"}),
      ElementsAre(kByTime + "1", Data(0), Data(1), kOne, kGood, Data(2), kOne, kByTime + "1",
                  soon + "0) stop report", kByTime + "0", soon + "2147483647) stop report", Data(3),
                  kOne, "[statistic][count] Statistic count :10"));
}

// A time-out that waits for `lock` while its arming ends is not taken for that of the next one.
TEST_F(StatisticsTest, LateTimeOutEndsNoOtherArming) {
  bool ran = false;
  std::atomic<uint32_t> walked{0};  // the thread that has walked over the time-out
  const zo_base::BaseThread::StepHook hook = [&](const auto&, zo_base::LoopStep step) {
    ran |= step == zo_base::LoopStep::kTaskRan;
    if (ran && step == zo_base::LoopStep::kWalked) {
      walked = zo_base::CurrentThreadId();
    }
  };
  Set(1, 60000, 10000);
  config_->SetHttpRequestInvoker([&, invoker = config_->GetHttpRequestInvoker()](
                                     const MultipleURLHttpRequest& request, bool on_agent) {
    invoker(request, on_agent);
    if (reports_.size() > 1) {
      return;
    }
    request.callback(true, "", "");
    Fail({2});  // too soon: armed for the delay
    zo_base::BaseThread::SetStepHookForTest(&hook);
    clock_.Advance(10000);
    while (walked == 0 || !Sleeps(walked)) {
      std::this_thread::yield();
    }
    zo_base::BaseThread::SetStepHookForTest(nullptr);
    Set(2, 500, 0);
    Fail({3});
  });
  Fail({1});
  Pass(499);
  EXPECT_THAT(SentUrls(), ElementsAre("u1"));
  Pass(1);
  EXPECT_THAT(SentUrls(), ElementsAre("u1", ""));
}

// A batch by time meets a failure that is the first of the next batch or the last of its own, and
// so does the empty one after a delay. Each failure goes out once, and no time-out outlives the
// batch by count.
TEST_F(StatisticsTest, TimeOutMeetsFailures) {
  constexpr int kRounds = 1000;
  for (const auto& [count, is_delayed] : {std::pair(2, false), {10, false}, {2, true}}) {
    Set(count, 1000, 0);
    reports_.clear();
    std::barrier together(2);
    std::thread time([&] {
      for (int round = 0; round < kRounds; ++round) {
        together.arrive_and_wait();
        clock_.Advance(1000);
        together.arrive_and_wait();
      }
    });
    for (int round = 0; round < kRounds; ++round) {
      if (is_delayed) {
        Set(1, 60000, 1000);
        Fail({0});
        End(0, true);
        reports_.clear();
      }
      Fail({1});
      Set(count, 1000, is_delayed ? 1000 : 0);
      together.arrive_and_wait();
      Fail({2});
      together.arrive_and_wait();
      Pass(1000);
      const std::vector<std::string> sent = SentUrls();
      ASSERT_TRUE(sent == std::vector<std::string>{is_delayed ? "u2" : "u1 u2"} ||
                  sent == std::vector<std::string>({is_delayed ? "" : "u1", "u2"}))
          << testing::PrintToString(sent);
      const std::lock_guard guard(mutex_);
      reports_.clear();
    }
    time.join();
  }
}

}  // namespace
