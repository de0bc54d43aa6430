// The failure statistics alone: what is gathered, when it goes out, and what a report holds.
#include "src/sturdy/http_agent/logic/statistic_count_timer_invoker.h"

#include <barrier>
#include <limits>
#include <thread>

#include "tests/support/configured_test.h"

namespace {

using testing::ElementsAre;
using zo_sturdy::MultipleURLHttpRequest;

using Records = std::list<zo_sturdy::StatisticRecord>;

Records Failures(int first, int last) {
  Records records;
  for (int i = first; i <= last; ++i) {
    records.push_back({"u" + std::to_string(i), {}, "", "", 0, 0, 0});
  }
  return records;
}

class StatisticsTest : public ConfiguredTest {
 protected:
  StatisticsTest() { statistics_->Start(); }

  void Set(int32_t count, int32_t time, int64_t min_delay, const std::string& host = "http://s:1") {
    config->statistic_settings.Set({true, host, count, time, min_delay});
  }
  // A request each.
  void Fail(std::initializer_list<int> urls) {
    for (const int i : urls) {
      statistics_->Invoke(Failures(i, i), false);
    }
  }
  void Pass(int64_t ms) { Settle(*statistics_, ms); }
  MultipleURLHttpRequest Sent(size_t i) { return Request(i); }
  // The URLs of each report so far, with a blank between two.
  std::vector<std::string> SentUrls() {
    std::vector<std::string> all;
    for (size_t i = 0; i < Waiting(); ++i) {
      all.emplace_back();
      const auto body = Parsed(Request(i).body);
      for (const auto& record : body.array_items()) {
        all.back() += (all.back().empty() ? "" : " ") + record["request_url"].string_value();
      }
    }
    return all;
  }
  void End(size_t i, bool success) {
    RunOn(*statistics_, [&] { Sent(i).callback(success, "", ""); });
    Pass(0);
  }
  // What is told.
  const std::string kOne = "[statistic][count] Statistic count :1";
  const std::string kByTime = "[statistic][time out] Statistic count :";
  const std::string kGood = "[statistic]Statistic ret:true";
  const std::string kBad = "[statistic]Statistic ret:false";
  std::string Data(size_t i) { return "[statistic] Do statistic data :" + Sent(i).body; }

  std::shared_ptr<zo_sturdy::StatisticCountTimerInvoker> statistics_ =
      std::make_shared<zo_sturdy::StatisticCountTimerInvoker>();
};

TEST_F(StatisticsTest, TenthFailureOrAMinuteMakesABatch) {
  Fail({0, 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_TRUE(SentUrls().empty());
  Fail({9});
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
  EXPECT_EQ(Request(0).thread + Request(1).thread + Request(2).thread, "-statisticstatistic");
  EXPECT_THAT(log.Tagged({"[statistic]"}),
              ElementsAre(Data(0), "[statistic][count] Statistic count :10", kByTime + "2", Data(1),
                          kByTime + "1", Data(2)));
}

TEST_F(StatisticsTest, ReportIsARequestInTheNameOfTheBusiness) {
  config->address_family = net::kIPFamilyV6;
  // A name without "_" keeps the type of the report before.
  const struct {
    std::string business, host, url_host, sdktype;
  } cases[] = {{"none", "s.test", "s.test", ""},
               {"im_g1", "https://s.test:8", "s.test", "im"},
               {"none", "s.test:8", "s.test:8", "im"},
               {"_x", "http://[::1]:8", "[::1]", ""},
               {"a_b_c", "", "", "a"}};
  for (const auto& c : cases) {
    config->business = c.business;
    Set(1, 60000, 10000, c.host);
    Fail({1});
    const MultipleURLHttpRequest sent = Next();
    EXPECT_EQ(std::tie(sent.time_out, sent.multiple_time_out, sent.type, sent.use_http_dns,
                       sent.ip_family),
              std::make_tuple(7000, 2000, 1, true, 2));
    ASSERT_EQ(sent.urls.size(), 1U);
    EXPECT_EQ(std::tie(sent.urls[0].url, sent.urls[0].host),
              std::make_tuple(c.host + "/statics/report/im/api/error", c.url_host));
    EXPECT_THAT(sent.heads, ElementsAre("Content-Type: application/json", "sdktype:" + c.sdktype));
  }
}

TEST_F(StatisticsTest, KeepsTheNewestTwentyAndEachUrlOnce) {
  Set(3, 60000, 10000);
  statistics_->Invoke(Failures(1, 25), false);
  statistics_->Invoke(Failures(25, 26), false);
  Records one_request = Failures(27, 27);  // may have failed in two ways
  one_request.push_back(one_request.front());
  one_request.back().error_code = 1;
  statistics_->Invoke(one_request, false);
  EXPECT_THAT(SentUrls(), ElementsAre("u9 u10 u11 u12 u13 u14 u15 u16 u17 u18 u19 u20 u21 "
                                      "u22 u23 u24 u25 u26 u27 u27"));
  Fail({1});
  End(0, false);  // those in front are older, and go
  Fail({2, 3});
  EXPECT_EQ(SentUrls().back(),
            "u11 u12 u13 u14 u15 u16 u17 u18 u19 u20 u21 "
            "u22 u23 u24 u25 u26 u27 u27 u1 u2");
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
  EXPECT_EQ(Sent(2).body, "[]");
  // A first failure starts the timer again.
  End(2, true);
  Fail({4});
  Set(2, 60000, 10000);
  Fail({5});
  Pass(59999);
  EXPECT_EQ(SentUrls().size(), 3U);
  Pass(1);
  EXPECT_THAT(SentUrls(), ElementsAre("u1", "u2", "", "u5"));
  const std::string soon = "[statistic] Time now - last report time < 10000 (";
  EXPECT_THAT(log.Tagged({"[statistic]"}),
              ElementsAre(Data(0), kOne, Data(1), kOne, kGood, soon + "4000) stop report", kOne,
                          kByTime + "0", Data(2), kGood, soon + "0) stop report", kOne,
                          kByTime + "1", Data(3)));
}

TEST_F(StatisticsTest, FailedReportGoesBackToTheFront) {
  Set(2, 60000, 10000);
  Fail({1, 2, 3});
  End(0, false);
  EXPECT_THAT(SentUrls(), ElementsAre("u1 u2", "u1 u2 u3"));
  const auto request = Sent(1);
  request.callback(false, "", "");  // no loop to hand it to
  Pass(60000);
  EXPECT_EQ(SentUrls().size(), 2U);
  EXPECT_THAT(log.With("Statistic ret"), ElementsAre(kBad, kBad));
  statistics_->Stop();
  statistics_.reset();
  request.callback(false, "", "");
  EXPECT_EQ(log.With("Statistic ret").size(), 2U);
}

TEST_F(StatisticsTest, SettingsOfAnyValueAreDefined) {
  constexpr int64_t kEver = std::numeric_limits<int64_t>::max();
  constexpr int64_t kLongestMs = std::numeric_limits<int32_t>::max();
  // New ones don't touch what has been gathered, but a batch goes where they say.
  Set(9, 60000, 0);
  Fail({1});
  config->statistic_settings.Set({false, "http://t:2", 1, 1, 0});
  Fail({9});
  Pass(59999);
  EXPECT_TRUE(SentUrls().empty());
  Pass(1);
  EXPECT_EQ(Sent(0).urls[0].url, "http://t:2/statics/report/im/api/error");
  Set(0, 60000, -1);
  Fail({2});
  End(1, true);
  Fail({3});
  Set(9, -5, kEver);
  Fail({4});
  Pass(0);
  Pass(kLongestMs);  // the wait goes past the timer's longest
  Set(1, 60000, kEver);
  clock.SetWall(1000);  // set back: the delay counts as gone by
  Fail({5});
  zo_sturdy::SetCurrentConfig(nullptr);
  Fail({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});  // nothing to send with
  EXPECT_THAT(SentUrls(), ElementsAre("u1", "u2", "u3", "u5"));
  const std::string soon = "[statistic] Time now - last report time < 9223372036854775807 (";
  EXPECT_THAT(
      log.Tagged({"[statistic]"}),
      ElementsAre(kByTime + "1", Data(0), Data(1), kOne, kGood, Data(2), kOne, kByTime + "1",
                  soon + "0) stop report", kByTime + "0", soon + "2147483647) stop report", Data(3),
                  kOne, "[statistic][count] Statistic count :10"));
}

// A batch by time meets a failure that is the first of the next batch or the last of its own, and
// so does the empty one after a delay. Each failure goes out once, and no time-out outlives the
// batch by count.
TEST_F(StatisticsTest, TimeOutMeetsFailures) {
  constexpr int kRounds = 1000;
  for (const auto& [count, is_delayed] : {std::pair(2, false), {10, false}, {2, true}}) {
    std::barrier together(2);
    std::thread time([&] {
      for (int round = 0; round < kRounds; ++round) {
        together.arrive_and_wait();
        clock.Advance(1000);
        together.arrive_and_wait();
      }
    });
    for (int round = 0; round < kRounds; ++round) {
      Set(is_delayed ? 1 : count, 1000, 1000);
      TakeAll();
      if (is_delayed) {
        Fail({0});
        End(0, true);
        TakeAll();
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
    }
    time.join();
  }
}

}  // namespace
