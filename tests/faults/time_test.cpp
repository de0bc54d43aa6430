// The wall clock is set, by a day and by ten years, back and forth: in a run, and between two.
#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/faults/frozen_client.h"
#include "tests/support/process_state.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int64_t kDayMs = 86400000;
constexpr char kAddress[] = "192.0.2.7";

class ClockFault : public FrozenClient, public testing::WithParamInterface<int> {
 protected:
  ClockFault() { dns_endpoints_ = {{"127.0.0.1", lab_.Port("dns"), false}}; }

  // A fetch and a query at the true time.
  void RunWell() {
    lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(document_)});
    Fetch(urls_);
    EXPECT_EQ(AwaitUpdate(), Update(200, document_));
    EXPECT_THAT(Query("a.test"), HasSubstr(kAddress));
  }

  const int64_t begin_ms_ = zo_base::Clock::WallMs();
  const int64_t jump_ms_ = GetParam() * kDayMs;
  const lab::HostBook book_{.hosts = {{"a.test", {.ip = {{kAddress}}, .ttl_s = 36000}}}};
  lab::Lab lab_{{lab::HttpServer("lbs"), lab::HttpServer("backup"),
                 lab::HttpServer("statistics").On(lab::kReportPath, lab::Answer("")),
                 lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Answer(book_))}};
  const std::vector<std::string> urls_ = {lab_.Url("lbs", kLbsPath), lab_.Url("backup", kLbsPath)};
  // Its failures are reported one by one.
  const std::string document_ =
      TestDocument({"192.0.2.1:1"}, urls_)
          .Report({.host = lab_.Url("statistics"), .count = 1, .min_delay_s = 10})
          .Text();
};

INSTANTIATE_TEST_SUITE_P(, ClockFault, testing::Values(-3653, -1, 1, 3653), [](const auto& days) {
  return (days.param < 0 ? "Back" : "Forward") + std::to_string(std::abs(days.param));
});

TEST_P(ClockFault, InARunMovesNoTimerAndEndsALease) {
  RunWell();
  lab_.SetBehaviours("backup", kLbsPath, {lab::Answer(document_)});
  lab_.SetBehaviours("lbs", kLbsPath,
                     {lab::Answer(500), lab::Answer(500).HeldAt("gate"), lab::Silent()});
  service_->Update(net::kIPFamilyAny);
  EXPECT_EQ(AwaitUpdate().first, 200);
  ASSERT_TRUE(log_.WaitFor("[statistic]Statistic ret:true"));

  // In mid-request: a failure's time is what the clock says, as far as the field can.
  service_->Update(net::kIPFamilyAny);
  ASSERT_TRUE(lab_.WaitForHeld("gate", 1, kPatience));
  clock_.SetWall(begin_ms_ + jump_ms_);
  lab_.Release("gate");
  EXPECT_EQ(AwaitUpdate().first, 200);
  EXPECT_THAT(log_.With("[time out]"), IsEmpty());
  nlohmann::json report;
  ASSERT_TRUE(WaitUntil([&] {  // among those of failures before, in any order
    const auto requests = lab_.RequestsFor(lab::kReportPath);
    return std::any_of(requests.begin(), requests.end(), [&](const lab::Request& request) {
      report = nlohmann::json::parse(request.body).at(0);
      return report.at("timestamp") == begin_ms_ + jump_ms_;
    });
  })) << "the delay has gone by";
  EXPECT_EQ(report.at("send_time"),
            std::clamp<int64_t>(jump_ms_, std::numeric_limits<int32_t>::min(),
                                std::numeric_limits<int32_t>::max()));

  // A silent URL has its two seconds, no more.
  service_->Update(net::kIPFamilyAny);
  ASSERT_TRUE(log_.WaitForCount("[multiple]Send sub url request:" + urls_[0], 4));
  ASSERT_TRUE(log_.WaitUntil([&](const Messages& lines) {
    const auto sent = std::find_if(lines.rbegin(), lines.rend(), [&](const std::string& line) {
      return line.find("Send sub url request:" + urls_[0]) != line.npos;
    });
    return std::find(lines.rbegin(), sent, "[multiple]Start timer index:0") != sent;
  }));
  clock_.Advance(2000);
  EXPECT_EQ(AwaitUpdate().first, 200);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(Query("a.test"), HasSubstr(kAddress));
    EXPECT_THAT(lab_.RequestsFor(lab::kHostQueryPath), SizeIs(2)) << "asked once more, and kept";
  }
  EXPECT_THAT(lab_.RequestsFor(lab::kServiceTablePath), IsEmpty());
}

TEST_P(ClockFault, BetweenTwoRunsLeavesAnswersAndShortLeases) {
  RunWell();
  Exit();
  lab_.SetBehaviours("lbs", kLbsPath, {lab::Answer(500)});
  lab_.SetBehaviours("dns", lab::kHostQueryPath, {lab::Answer(500)});
  clock_.SetWall(begin_ms_ + jump_ms_);
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder_.path(), "token"));
  StartService(urls_);
  EXPECT_EQ(Link(*service_), "192.0.2.1:1");
  EXPECT_EQ(AwaitUpdate(), Update(0, document_));
  const bool is_back = jump_ms_ < 0;
  if (is_back) {
    EXPECT_THAT(log_.With("[http dns][init] expired_time - time_now > 2000ms"), SizeIs(2));
  } else {
    EXPECT_TRUE(lab_.WaitForRequestsFor(lab::kServiceTablePath, 1, kPatience));
  }
  // From the disk: 270 s at most, and 2.7 s for what has expired.
  clock_.Advance((is_back ? 270000 : 2700) - 1);
  EXPECT_THAT(Query("a.test"), HasSubstr(kAddress));
  clock_.Advance(1);
  EXPECT_EQ(Query("a.test"), R"({"code":1})");
}

}  // namespace
