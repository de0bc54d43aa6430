#include <barrier>

#include "tests/src/http_agent/agent_fixture.h"
#include "tests/support/request_lines.h"

namespace {

using zo_sturdy::MultipleURLHttpRequest;

TEST_F(AgentTest, EachStepIsLoggedAndCodesAreClamped) {
  Outcome outcome;
  MultipleURLHttpRequest request = Request(Urls(3), outcome);
  StartRequest(request);
  for (const auto& [i, code] : {std::pair(0, 1025), {1, -1}, {2, 1024}}) {
    transport_->Answer(Url(i), code, "b" + std::to_string(i), {{"A", "1"}, {"B", "2"}});
  }
  Settle();
  EXPECT_EQ(outcome.Result(), std::make_tuple(1, false, "b2"));
  EXPECT_EQ(outcome.headers, "A:1\r\nB:2");
  EXPECT_EQ(log.Tagged({"[multiple]"}),
            RequestLines(request,
                         "send 0;bad 0 0 false;stop 0;remove 0;waits false;-> 0 1;"
                         "send 1;bad 1 0 false;stop 1;remove 1;waits false;-> 1 2;"
                         "send 2;bad 2 1024 true;stop 2;remove 2;last;fail;release"));
  agent_->Stop();
  request.use_http_dns = true;
  request.urls.resize(1);
  StartRequest(request);
  transport_->Answer(Url(0), 500);
  EXPECT_TRUE(log.WaitFor("[multiple]User http dns,query host fail"));
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
