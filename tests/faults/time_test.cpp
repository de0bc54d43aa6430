// The wall clock is set during a run, by a day and by ten years, back and forth.
#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/support/frozen_client.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int64_t kDayMs = 86400000;
constexpr char kAddress[] = "192.0.2.7";

class ClockFault : public FrozenClient, public testing::WithParamInterface<int> {
 protected:
  ClockFault() { dns_endpoints_ = {{"127.0.0.1", lab_.Port("dns"), false}}; }

  const int64_t begin_ms_ = zo_base::Clock::WallMs();
  const int64_t jump_ms_ = GetParam() * kDayMs;
  const lab::HostBook book_{.hosts = {{"a.test", {.ip = {{kAddress}}, .ttl_s = 36000}}}};
  lab::Lab lab_{{lab::HttpServer("lbs"), lab::HttpServer("backup"),
                 lab::HttpServer("statistics").On(lab::kReportPath, lab::Answer("")),
                 lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Answer(book_))}};
  const std::vector<std::string> urls_ = {lab_.Url("lbs", kLbsPath), lab_.Url("backup", kLbsPath)};
  // Each failure is reported by itself.
  const lab::Behaviour good_ =
      lab::Answer(TestDocument({"192.0.2.1:1"}, urls_)
                      .Report({.host = lab_.Url("statistics"), .count = 1, .min_delay_s = 10})
                      .Text());
};

INSTANTIATE_TEST_SUITE_P(, ClockFault, testing::Values(-3653, -1, 1, 3653), [](const auto& days) {
  return (days.param < 0 ? "Back" : "Forward") + std::to_string(std::abs(days.param));
});

TEST_P(ClockFault, MovesNoTimerAndEndsALease) {
  // A fetch, a query and a report at the true time.
  lab_.SetBehaviours("backup", kLbsPath, {good_});
  lab_.SetBehaviours("lbs", kLbsPath,
                     {good_, lab::Answer(500), lab::Answer(500).HeldAt("gate"), lab::Silent()});
  Fetch(urls_);
  EXPECT_EQ(AwaitUpdate().first, 200);
  EXPECT_THAT(Query("a.test"), HasSubstr(kAddress));
  service_->Update(net::kIPFamilyAny);
  EXPECT_EQ(AwaitUpdate().first, 200);
  ASSERT_TRUE(log_.WaitFor("[statistic]Statistic ret:true"));

  // Set during a request: a failure's time is what the clock says, as far as the field can.
  service_->Update(net::kIPFamilyAny);
  ASSERT_TRUE(lab_.gates().WaitForHeld("gate", 1, kPatience));
  clock_.SetWall(begin_ms_ + jump_ms_);
  lab_.gates().Release("gate");
  EXPECT_EQ(AwaitUpdate().first, 200);
  EXPECT_THAT(log_.With("[time out]"), IsEmpty());
  nlohmann::json report;
  ASSERT_TRUE(WaitUntil([&] {  // among those of earlier failures, in any order
    const auto requests = lab_.journal().RequestsFor(lab::kReportPath);
    return std::any_of(requests.begin(), requests.end(), [&](const lab::Request& request) {
      report = nlohmann::json::parse(request.body).at(0);
      return report.at("timestamp") == begin_ms_ + jump_ms_;
    });
  })) << "the report's delay hasn't passed";
  EXPECT_EQ(report.at("send_time"),
            std::clamp<int64_t>(jump_ms_, std::numeric_limits<int32_t>::min(),
                                std::numeric_limits<int32_t>::max()));

  // A silent URL has its two seconds, no more.
  service_->Update(net::kIPFamilyAny);
  ASSERT_TRUE(WaitUntil([&] { return lab_.journal().RequestsOf("lbs").size() == 4; }));
  AdvanceAgent(2000);
  EXPECT_EQ(AwaitUpdate().first, 200);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(Query("a.test"), HasSubstr(kAddress));
    EXPECT_THAT(lab_.journal().RequestsFor(lab::kHostQueryPath), SizeIs(2))
        << "asked once more, and kept";
  }
  EXPECT_THAT(lab_.journal().RequestsFor(lab::kServiceTablePath), IsEmpty());
}

}  // namespace
