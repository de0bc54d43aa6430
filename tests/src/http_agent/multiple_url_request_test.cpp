#include <barrier>

#include "tests/src/http_agent/agent_fixture.h"
#include "tests/support/request_lines.h"

namespace {

using zo_sturdy::MultipleURLHttpRequest;

// Steps: "t" lets 2000 ms pass, "1:500" answers URL 1 with status 500 and the body "b1".
TEST_F(AgentTest, FailOverFollowsTheSteps) {
  const struct {
    const char* name;
    size_t url_count;
    const char *steps, *log;
    bool success;
    const char* body;
  } cases[] = {{"AllFailInTurnAndCodesAreClamped", 3, "0:1025 1:-1 2:1024",
                "send 0;bad 0 0 false;stop 0;remove 0;waits false;-> 0 1;"
                "send 1;bad 1 0 false;stop 1;remove 1;waits false;-> 1 2;"
                "send 2;bad 2 1024 true;stop 2;remove 2;last;fail;release",
                false, "b2"},
               {"SecondWinsAndLateAnswerIsDropped", 2, "t 1:200 !0:200",
                "send 0;silent 0 false;silent-> 0 1;send 1;good 1 200 true;release", true, "b1"},
               {"LastReturnerDecides", 2, "t 1:500 0:404",
                "send 0;silent 0 false;silent-> 0 1;send 1;bad 1 500 true;stop 1;remove 1;"
                "bad 0 404 true;remove 0;last;fail;release",
                false, "b0"},
               {"LateFailuresSkipNothing", 4, "t 0:500 t 1:500 2:500 3:200",
                "send 0;silent 0 false;silent-> 0 1;send 1;bad 0 500 false;remove 0;waits true;"
                "silent 1 false;silent-> 1 2;send 2;bad 1 500 false;remove 1;waits true;"
                "bad 2 500 false;stop 2;remove 2;waits false;-> 2 3;send 3;good 3 200 true;release",
                true, "b3"},
               {"TimeOutAloneFailsNothing", 2, "t t t 0:500 1:500",
                "send 0;silent 0 false;silent-> 0 1;send 1;silent 1 true;"
                "bad 0 500 true;remove 0;bad 1 500 true;remove 1;last;fail;release",
                false, "b1"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    log.StartHere();
    Outcome outcome;
    const MultipleURLHttpRequest request = Request(Urls(c.url_count), outcome);
    StartRequest(request);
    std::istringstream steps(c.steps);
    for (std::string step; steps >> step;) {
      EXPECT_EQ(outcome.calls > 0, step[0] == '!') << "before " << step;
      if (step != "t") {
        const size_t at = step[0] == '!' ? 1 : 0;  // an answer that comes after the outcome
        transport_->Answer(Url(step[at] - '0'), std::stoi(step.substr(at + 2)),
                           std::string("b") + step[at], {{"A", "1"}, {"B", "2"}});
      }
      Settle(step == "t" ? 2000 : 0);
    }
    EXPECT_EQ(outcome.Result(), std::make_tuple(1, c.success, c.body));
    EXPECT_EQ(outcome.headers, "A:1\r\nB:2");
    EXPECT_EQ(log.Tagged({"[multiple]"}), RequestLines(request, c.log));
    EXPECT_EQ(Live(), 0U);
  }
}

// Nothing else wakes the loop here, so an answer that the time-out hides would be lost.
TEST_F(AgentTest, AnswerThatMeetsTheTimeOutIsNotLost) {
  constexpr int kRounds = 1000;
  std::barrier together(2);
  std::thread time([&] {
    for (int round = 0; round < kRounds; ++round) {
      together.arrive_and_wait();
      clock.Advance(2000);
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    std::promise<bool> told;
    Outcome outcome;
    MultipleURLHttpRequest request = Request(Urls(2), outcome);
    request.callback = [&](bool success, const auto&...) { told.set_value(success); };
    StartRequest(request);
    transport_->WaitFor(Url(0));
    together.arrive_and_wait();
    transport_->Answer(Url(0), 200);
    std::future<bool> answer = told.get_future();
    ASSERT_EQ(answer.wait_for(std::chrono::seconds(20)), std::future_status::ready) << round;
    EXPECT_TRUE(answer.get());
  }
  time.join();
}

TEST_F(AgentTest, NothingIsSentAfterTheLoopHasEnded) {
  config->statistic_settings.Set({true, "http://10.0.0.9", 1, 60000, 0});
  const std::vector<std::string> urls = {"http://10.0.0.1/", Url(1), Url(2), Url(3)};
  Outcome outcome;
  MultipleURLHttpRequest request = Request(urls, outcome);
  request.use_http_dns = true;
  request.check = [](int32_t i, int32_t, const auto&, const auto&, bool& need_statistic) {
    need_statistic = i == 0;
    return false;
  };
  StartRequest(request);
  Settle(2000);
  Settle(2000);
  transport_->Answer(urls[0], 500);  // recorded, since there is a loop
  Settle();
  NewThread();
  for (const int i : {2, 1}) {
    EXPECT_EQ(outcome.calls, 0);
    transport_->Answer(Url(i), 500, std::to_string(i));
  }
  EXPECT_EQ(outcome.Result(), std::make_tuple(1, false, "1"));
  EXPECT_EQ(transport_->sent, 3) << "no further URL, host query or report";
  EXPECT_TRUE(log.With("need statics").empty());
  EXPECT_EQ(Live(), 0U);
}

TEST_F(AgentTest, AtMostOneAnswerCountsWhenTheLoopEnds) {
  constexpr int kRounds = 100;
  size_t told = 0;
  for (int round = 0; round < kRounds; ++round) {
    Outcome outcome;
    const bool wins = round % 2 == 0;
    StartRequest(Request(Urls(3), outcome));
    Settle(2000);
    Settle(2000);
    std::barrier together(4);
    std::vector<std::thread> answers;
    for (int i = 0; i < 3; ++i) {
      transport_->WaitFor(Url(i));
      answers.emplace_back([&, i] {
        together.arrive_and_wait();
        transport_->Answer(Url(i), wins && i == 1 ? 200 : 500);
      });
    }
    together.arrive_and_wait();
    NewThread();
    for (std::thread& answer : answers) {
      answer.join();
    }
    EXPECT_TRUE(outcome.calls == 0 || (outcome.calls == 1 && outcome.success == wins));
    told += outcome.calls;
  }
  EXPECT_EQ(transport_->sent, 3 * kRounds);
  // The others lost their answers with the loop; they stay reachable.
  EXPECT_EQ(Live(), kRounds - told);
}

}  // namespace
