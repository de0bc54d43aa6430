#include <barrier>
#include <map>
#include <sstream>

#include "base/clock.h"
#include "base/signals.h"
#include "tests/http_agent/agent_fixture.h"

namespace {

using zo_sturdy::MultipleURLHttpRequest;
using zo_sturdy::MultipleURLHttpRequestHelper;

// Words for runs of log lines; $1 to $3 are the word's arguments, and U is the URL of a number.
const std::map<std::string, std::vector<std::string>> kWords = {
    {"send", {"Send sub url request:U$1", "Start timer index:$1"}},
    {"silent",
     {"[time out]Sub url request time out index:$1",
      "[time out]Stop sub url request timer index :$1", "[time out]All url requested :$2"}},
    {"silent->", {"[time out]Switch to index :$1 triggered by :$2"}},
    {"rsp", {"[rsp]Index:$1 code :$2", "[rsp]All url requested :$3"}},
    {"good",
     {"[rsp]Business check response true,index :$1", "[rsp]Business check response url:U$1",
      "Request return,release request object"}},
    {"bad",
     {"[rsp]Business check response false,index :$1", "[rsp]Business check response url:U$1"}},
    {"stop", {"[rsp]Stop timer index :$1"}},
    {"remove", {"[rsp]Remove timer index :$1"}},
    {"waits", {"[rsp]Has waitting request $1"}},
    {"->", {"[rsp]Switch to index :$1 triggered by :$2", "[rsp]Switch to url:U$2"}},
    {"last", {"[rsp]All sub url has been requested"}},
    {"fail",
     {"Request return false, use http dns if fail:false",
      "Request return false, use http dns if fail:false", "Request return,release request object"}},
};

std::string Replaced(std::string text, const std::string& mark, const std::string& value) {
  const size_t at = text.find(mark);
  return at == std::string::npos ? text : text.replace(at, mark.size(), value);
}

Messages Lines(const std::string& words) {
  Messages lines;
  std::istringstream sentences(words);
  for (std::string sentence; std::getline(sentences, sentence, ';');) {
    std::istringstream parts(sentence + " - - -");
    std::string word, one, two, three;
    parts >> word >> one >> two >> three;
    for (std::string line : kWords.at(word)) {
      line = Replaced(Replaced(line, "U$1", "http://u" + one + ".test/"), "$1", one);
      line = Replaced(Replaced(line, "U$2", "http://u" + two + ".test/"), "$2", two);
      lines.push_back("[multiple]" + Replaced(line, "$3", three));
    }
  }
  return lines;
}

// Steps: "t" lets 2000 ms pass, "1:500" answers URL 1 with status 500 and the body "b1".
struct Case {
  const char* name;
  int url_count;
  const char* steps;
  const char* log;
  bool success;
  const char* body;
};

TEST_F(AgentTest, FailOverGoesAsTheLogTells) {
  const std::vector<Case> cases = {
      {"GoodAtOnce", 1, "0:200", "send 0;rsp 0 200 true;good 0", true, "b0"},
      {"FailsAtOnce", 1, "0:500", "send 0;rsp 0 500 true;bad 0;stop 0;remove 0;last;fail", false,
       "b0"},
      {"AllFailInTurnAndCodesAreClamped", 3, "0:1025 1:-1 2:1024",
       "send 0;rsp 0 0 false;bad 0;stop 0;remove 0;waits false;-> 1 0;"
       "send 1;rsp 1 0 false;bad 1;stop 1;remove 1;waits false;-> 2 1;"
       "send 2;rsp 2 1024 true;bad 2;stop 2;remove 2;last;fail",
       false, "b2"},
      {"SecondWinsAndLateAnswerIsDropped", 2, "t 1:200 !0:200",
       "send 0;silent 0 false;silent-> 1 0;send 1;rsp 1 200 true;good 1", true, "b1"},
      {"LateAnswerWinsAfterTheLastFailed", 2, "t 1:500 0:200",
       "send 0;silent 0 false;silent-> 1 0;send 1;"
       "rsp 1 500 true;bad 1;stop 1;remove 1;rsp 0 200 true;good 0",
       true, "b0"},
      {"LastReturnerDecides", 2, "t 1:500 0:404",
       "send 0;silent 0 false;silent-> 1 0;send 1;"
       "rsp 1 500 true;bad 1;stop 1;remove 1;rsp 0 404 true;bad 0;remove 0;last;fail",
       false, "b0"},
      {"LateFailureSkipsNothing", 3, "t 0:500 t 1:500 2:200",
       "send 0;silent 0 false;silent-> 1 0;send 1;"
       "rsp 0 500 false;bad 0;remove 0;waits true;silent 1 false;silent-> 2 1;send 2;"
       "rsp 1 500 true;bad 1;remove 1;rsp 2 200 true;good 2",
       true, "b2"},
      {"LateFailureThenTheAwaitedFails", 3, "t 0:500 1:500 2:200",
       "send 0;silent 0 false;silent-> 1 0;send 1;rsp 0 500 false;bad 0;remove 0;waits true;"
       "rsp 1 500 false;bad 1;stop 1;remove 1;waits false;-> 2 1;send 2;"
       "rsp 2 200 true;good 2",
       true, "b2"},
      {"TimeOutAloneFailsNothing", 2, "t t t 0:500 1:500",
       "send 0;silent 0 false;silent-> 1 0;send 1;silent 1 true;"
       "rsp 0 500 true;bad 0;remove 0;rsp 1 500 true;bad 1;remove 1;last;fail",
       false, "b1"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    log_.StartHere();
    Outcome outcome;
    StartRequest(Request(c.url_count, outcome));
    std::istringstream steps(c.steps);
    for (std::string step; steps >> step;) {
      EXPECT_EQ(outcome.calls > 0, step[0] == '!') << "before " << step;
      if (step != "t") {
        const size_t at = step[0] == '!' ? 1 : 0;  // an answer that comes after the outcome
        transport_->Answer(Url(step[at] - '0'), std::stoi(step.substr(at + 2)),
                           std::string("b") + step[at]);
      }
      Settle(step == "t" ? 2000 : 0);
    }
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_EQ(std::tie(outcome.success, outcome.body), std::make_tuple(c.success, c.body));
    Messages came = log_.Tagged({"[multiple]"});
    came.erase(came.begin(), came.begin() + 2);  // the request's own two lines
    EXPECT_EQ(came, Lines(c.log));
    EXPECT_EQ(Live(), 0U);
  }
}

// The helper alone, for what it hands to its slot.
TEST_F(AgentTest, RecordsEachFailureOnceWithTheAddressesOfItsHost) {
  MultipleURLHttpRequest request;
  const std::string literal = "http://[::1]:8/a";
  request.urls = {
      {literal, ""}, {literal, ""}, {literal, ""}, {literal, ""}, {"http://localhost/b", ""}};
  request.check = [](int32_t, int32_t code, const std::string&, const std::string&, bool& record) {
    record = code != 403;
    return false;
  };
  std::list<zo_sturdy::StatisticRecord> records;
  OnThread([&] {
    auto* helper = new MultipleURLHttpRequestHelper(request);
    helper->Connect(zo_base::SignalKey(&MultipleURLHttpRequestHelper::SIG_ALL_SUB_REQUEST_RETURN),
                    [&, helper](auto&&...) {
                      records = helper->GetFailList();
                      delete helper;
                    });
    helper->InvokeRequest();
  });
  for (const int code : {500, 500, 403, 2000, -1}) {  // the last two arrive as one
    Settle(7);
    transport_->Answer(code == -1 ? "http://localhost/b" : literal, code);
    Settle();
  }
  ASSERT_EQ(records.size(), 3U);
  const auto& [url, addresses, appkey, extra, timestamp, code, send_time] = records.front();
  EXPECT_EQ(std::tie(url, code, send_time), std::make_tuple(literal, 500, 7));
  EXPECT_EQ(addresses, std::list<std::string>{"[::1]"});
  EXPECT_EQ(timestamp + 28, static_cast<uint64_t>(zo_base::Clock::WallMs()));
  EXPECT_EQ(records.back().error_code, 0);
  EXPECT_FALSE(records.back().host_ip.empty());
}

// Nothing else wakes the loop here, so that an answer which its timer hides would never be seen.
TEST_F(AgentTest, AnswerAndTimeOutFallTogether) {
  constexpr int kRounds = 1000;
  std::barrier together(2);
  std::thread time([&] {
    for (int round = 0; round < kRounds; ++round) {
      together.arrive_and_wait();
      clock_.Advance(2000);
    }
  });
  int good = 0;
  for (int round = 0; round < kRounds; ++round) {
    std::promise<bool> told;
    Outcome outcome;
    MultipleURLHttpRequest request = Request(2, outcome);
    request.callback = [&](bool success, const auto&...) { told.set_value(success); };
    StartRequest(request);
    transport_->WaitFor(Url(0));
    together.arrive_and_wait();
    transport_->Answer(Url(0), 200);
    std::future<bool> answer = told.get_future();
    ASSERT_EQ(answer.wait_for(std::chrono::seconds(20)), std::future_status::ready) << round;
    good += answer.get() ? 1 : 0;
  }
  time.join();
  EXPECT_EQ(good, kRounds);
}

TEST_F(AgentTest, NothingIsSentOnceTheLoopHasEnded) {
  config_->statistic_settings.Set(
      zo_sturdy::StatisticSettings{true, "http://10.0.0.9", 1, 60000, 0});
  Outcome outcome;
  MultipleURLHttpRequest request = Request(4, outcome);
  request.urls[0].url = "http://10.0.0.1/";
  request.use_http_dns = true;
  request.check = [](int32_t i, int32_t, const auto&, const auto&, bool& need_statistic) {
    need_statistic = i == 0;
    return false;
  };
  StartRequest(request);
  Settle(2000);
  Settle(2000);
  transport_->Answer("http://10.0.0.1/", 500);  // to be reported, while there is a loop
  Settle();
  NewThread();
  for (const int i : {2, 1}) {
    EXPECT_EQ(outcome.calls, 0);
    transport_->Answer(Url(i), 500, std::to_string(i));
  }
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_EQ(std::tie(outcome.success, outcome.body), std::make_tuple(false, "1"));
  EXPECT_EQ(transport_->sent, 3) << "no further URL, host query or report";
  EXPECT_TRUE(log_.With("need statics").empty());
  EXPECT_EQ(Live(), 0U);
}

TEST_F(AgentTest, LoopEndsWithThreeAnswersInFlight) {
  constexpr int kRounds = 100;
  size_t told = 0;
  for (int round = 0; round < kRounds; ++round) {
    Outcome outcome;
    const bool wins = round % 2 == 0;
    StartRequest(Request(3, outcome));
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
  // Requests whose answers the ending loop swallowed stay, reachable.
  EXPECT_EQ(Live(), kRounds - told);
}

}  // namespace
