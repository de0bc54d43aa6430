// The failure statistics alone: which failures they gather, when a report goes out, its form.
#include "src/sturdy/http_agent/logic/statistic_count_timer_invoker.h"

#include <sstream>

#include "base/thread/post_task.h"
#include "tests/support/configured_test.h"

namespace {

using testing::ElementsAre;

class StatisticsTest : public ConfiguredTest {
 protected:
  StatisticsTest() { NewStatistics(); }

  void NewStatistics() {
    TakeAll();
    statistics_ = std::make_shared<zo_sturdy::StatisticCountTimerInvoker>();
    statistics_->Start();
  }
  void Set(int32_t count, int32_t time, int64_t min_delay, const std::string& host = "http://s:1") {
    config->statistic_settings.Set({true, host, count, time, min_delay});
  }
  // One request that failed on these URLs, on each so many times.
  void Fail(int64_t first, int64_t last, int times = 1) {
    std::list<zo_sturdy::StatisticRecord> failures;
    for (int64_t url = first; url <= last; ++url) {
      failures.insert(failures.end(), times, {"u" + std::to_string(url), {}, "", "", 0, 0, 0});
    }
    statistics_->Invoke(failures, false);
  }
  // Completes the report with this number on the thread "statistic".
  void End(size_t i, bool success) {
    RunOn(*statistics_, [&] { Request(i).callback(success, "", ""); });
    Settle(*statistics_);
  }
  // Lists the reports from this number on, as ">" and their URLs.
  std::string Reports(size_t first = 0) {
    std::string all;
    for (size_t i = first; i < Waiting(); ++i) {
      const auto body = Parsed(Request(i).body);
      std::string urls;
      for (const auto& record : body.array_items()) {
        urls += (urls.empty() ? "" : ",") + record["request_url"].string_value().substr(1);
      }
      all += ">" + urls + (Request(i).urls[0].url.starts_with("http://t:2/") ? "@t " : " ");
    }
    return all;
  }
  void Do(const std::string& step) {
    std::istringstream arguments(step.substr(1));
    int64_t a = 0, b = 0, c = 0;
    char between = 0;
    arguments >> a >> between >> b >> between >> c;
    switch (step[0]) {
      case 'f':
        return Fail(a, between == '-' ? b : a);
      case 'd':
        return Fail(a, a, 2);
      case '+':
        return Settle(*statistics_, a);
      case 'g':
      case 'b':
        return End(static_cast<size_t>(a), step[0] == 'g');
      case 'l':
        return Request(static_cast<size_t>(a)).callback(false, "", "");
      case '=':
        return Set(static_cast<int32_t>(a), static_cast<int32_t>(b), c);
      case 'o':
        return config->statistic_settings.Set({false, "http://t:2", 1, 1, 0});
      case 'w':
        return clock.SetWall(a);
      case 'c':
        zo_base::PostTo(*statistics_, [=, this] {
          clock.Advance(b);
          Fail(a, a);
        });
        return Settle(*statistics_);
      default:
        FAIL() << step;
    }
  }
  // Returns the steps, each followed by the reports that it has sent.
  std::string Run(const std::string& all) {
    std::string course;
    std::istringstream steps(all);
    for (std::string step; steps >> step;) {
      if (step[0] != '>') {
        const size_t before = Waiting();
        Do(step);
        course += step + " " + Reports(before);
      }
    }
    return course;
  }

  std::shared_ptr<zo_sturdy::StatisticCountTimerInvoker> statistics_;
};

// Steps: "f1" is a request that failed on URL 1, "f1-9" on nine, "d1" on URL 1 in two ways; "+5"
// lets 5 ms pass; "g0" and "b0" complete report 0 well and badly, "l0" badly on a thread without a
// loop; "=3,60000,10000" sets count, time and minimum delay; "o" switches the statistics off, with
// another host; "w1000" sets the wall clock; "c1,5" lets
// 5 ms pass and then request 1 fail, before the time-out runs. ">1,2" is a report that the step
// before sends.
TEST_F(StatisticsTest, ReportsGoOutByCountAndByTime) {
  const std::pair<const char*, std::string> cases[] = {
      {"TenFailuresOrAMinuteMakeABatch",
       "f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 >0,1,2,3,4,5,6,7,8,9 +60000 "
       "f0 +30000 f1 +29999 +1 >0,1 f2 +60000 >2 "},
      {"TheNewestTwentyAreKeptAndEachUrlOnce",
       "=3,60000,10000 f1-25 f25-26 d27 "
       ">9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,27 "
       "f1 b0 f2 +9999 +1 >11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,27,1,2 "},
      {"ABatchTooSoonAfterAGoodOneIsLost", "=1,60000,10000 f1 >1 f2 >2 g0 +4000 f3 +5999 +1 > "},
      {"AFirstFailureStartsTheTimerAgain",
       "=1,60000,10000 f1 >1 g0 f4 =2,60000,10000 f5 +59999 +1 >5 "},
      {"AFailedReportGoesBackToTheFront",
       "=2,60000,10000 f1 f2 >1,2 f3 b0 +10000 >1,2,3 l1 +60000 "},
      {"NoneFollowsAFailedOneForFiveSeconds",
       "=1,20,0 f1 >1 b0 f2 f3 +4999 +1 >1,2,3 b1 +5000 >1,2,3 g2 f4 >4 "
       "=9,20,0 f1 +20 >1 b4 f2 +20 +4979 +1 >1,2 "
       "=1,20,0 b5 c3,5000 >1,2,3 b6 +5000 >1,2,3 "},
      {"ABatchThatHasWaitedForThatOutlastsAGoodOne",
       "=1,60000,10000 f1 >1 f2 >2 b0 +600 g1 +9400 f3 +600 >1,3 "
       "=2,60000,10000 f4 f5 >4,5 f6 f7 >6,7 b3 +10001 g4 f8 +10000 >4,5,8 "},
      {"NewSettingsKeepWhatIsGathered", "=9,60000,0 f1 o f9 +59999 +1 >1@t "},
      {"AnySettingsWork",
       "=0,60000,-1 f2 >2 g0 f3 >3 =9,-5,9223372036854775807 f4 +0 +2147483647 "
       "=1,60000,9223372036854775807 w1000 f5 >5 "}};
  for (const auto& [name, steps] : cases) {
    config->statistic_settings.Set(zo_sturdy::StatisticSettings());
    NewStatistics();
    EXPECT_EQ(Run(steps), steps) << name;
    clock.SetWall(start_ms);
  }
}

TEST_F(StatisticsTest, TheLogSaysWhyABatchGoesOut) {
  Run("=1,60000,10000 f1 g0 +4000 f3 +6000 =2,60000,0 f4 +60000 b2 f5 f6");
  const std::string data = "[statistic] Do statistic data :";
  EXPECT_THAT(log.Tagged({"[statistic]"}),
              ElementsAre(data + Request(0).body, "[statistic][count] Statistic count :1",
                          "[statistic]Statistic ret:true",
                          "[statistic] Time now - last report time < 10000 (4000) stop report",
                          "[statistic][count] Statistic count :1",
                          "[statistic][time out] Statistic count :0", data + "[]",
                          "[statistic][time out] Statistic count :1", data + Request(2).body,
                          "[statistic]Statistic ret:false",
                          "[statistic] Last report failed,wait ms :5000"));
  EXPECT_EQ(Request(0).thread + Request(1).thread, "-statistic");
}

TEST_F(StatisticsTest, NothingIsReportedWithoutAnEnvironment) {
  Run("=1,60000,0 f1");
  const auto report = Request(0);
  zo_sturdy::SetCurrentConfig(nullptr);
  EXPECT_EQ(Run("f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 +60000").find('>'), std::string::npos);
  statistics_->Stop();
  statistics_.reset();
  report.callback(false, "", "");
  EXPECT_TRUE(log.With("Statistic ret").empty());
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
    Run("f1");
    const SentRequest sent = Next();
    EXPECT_EQ(std::tie(sent.time_out, sent.multiple_time_out, sent.type, sent.use_http_dns,
                       sent.ip_family),
              std::make_tuple(7000, 2000, 1, true, 2));
    ASSERT_EQ(sent.urls.size(), 1U);
    EXPECT_EQ(std::tie(sent.urls[0].url, sent.urls[0].host),
              std::make_tuple(c.host + "/statics/report/im/api/error", c.url_host));
    EXPECT_THAT(sent.heads, ElementsAre("Content-Type: application/json", "sdktype:" + c.sdktype));
  }
}

}  // namespace
