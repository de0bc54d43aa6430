#include <barrier>
#include <map>
#include <sstream>

#include "base/clock.h"
#include "base/signals.h"
#include "base/thread_info.h"
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

std::vector<std::string> Lines(const std::string& words) {
  std::vector<std::string> lines;
  std::istringstream sentences(words);
  for (std::string sentence; std::getline(sentences, sentence, ';');) {
    std::istringstream parts(sentence);
    std::string word;
    parts >> word;
    std::vector<std::string> arguments{std::istream_iterator<std::string>(parts), {}};
    for (std::string line : kWords.at(word)) {
      for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string mark = "$" + std::to_string(i + 1);
        for (size_t at; (at = line.find("U" + mark)) != std::string::npos;) {
          line.replace(at, mark.size() + 1, "http://u" + arguments[i] + ".test/");
        }
        for (size_t at; (at = line.find(mark)) != std::string::npos;) {
          line.replace(at, mark.size(), arguments[i]);
        }
      }
      lines.push_back("[multiple]" + line);
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

class FailOver : public AgentTest, public testing::WithParamInterface<Case> {};

TEST_P(FailOver, GoesAsTheLogTells) {
  const Case& c = GetParam();
  Outcome outcome;
  StartRequest(Request(c.url_count, outcome));
  std::istringstream steps(c.steps);
  for (std::string step; steps >> step;) {
    EXPECT_EQ(outcome.calls > 0, step[0] == '!') << "before " << step;
    if (step == "t") {
      clock_.Advance(2000);
    } else {
      const size_t at = step[0] == '!' ? 1 : 0;  // an answer that comes after the outcome
      transport_->Answer(Url(step[at] - '0'), std::stoi(step.substr(at + 2)),
                         std::string("b") + step[at]);
    }
    Settle();
  }
  ASSERT_EQ(outcome.calls, 1);
  EXPECT_EQ(outcome.success, c.success);
  EXPECT_EQ(outcome.body, c.body);
  std::vector<std::string> came = log_.Tagged({"[multiple]"});
  came.erase(came.begin(), came.begin() + 2);  // the request's own two lines
  EXPECT_EQ(came, Lines(c.log));
  EXPECT_EQ(Live(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Request, FailOver,
    testing::Values(
        Case{"GoodAtOnce", 1, "0:200", "send 0;rsp 0 200 true;good 0", true, "b0"},
        Case{"FailsAtOnce", 1, "0:500", "send 0;rsp 0 500 true;bad 0;stop 0;remove 0;last;fail",
             false, "b0"},
        Case{"AllFailInTurnAndCodesAreClamped", 3, "0:1025 1:-1 2:1024",
             "send 0;rsp 0 0 false;bad 0;stop 0;remove 0;waits false;-> 1 0;"
             "send 1;rsp 1 0 false;bad 1;stop 1;remove 1;waits false;-> 2 1;"
             "send 2;rsp 2 1024 true;bad 2;stop 2;remove 2;last;fail",
             false, "b2"},
        Case{"SecondWinsAndLateAnswerIsDropped", 2, "t 1:200 !0:200",
             "send 0;silent 0 false;silent-> 1 0;send 1;rsp 1 200 true;good 1", true, "b1"},
        Case{"LateAnswerWinsAfterTheLastFailed", 2, "t 1:500 0:200",
             "send 0;silent 0 false;silent-> 1 0;send 1;"
             "rsp 1 500 true;bad 1;stop 1;remove 1;rsp 0 200 true;good 0",
             true, "b0"},
        Case{"LastReturnerDecides", 2, "t 1:500 0:404",
             "send 0;silent 0 false;silent-> 1 0;send 1;"
             "rsp 1 500 true;bad 1;stop 1;remove 1;rsp 0 404 true;bad 0;remove 0;last;fail",
             false, "b0"},
        Case{"LateFailureSkipsNothing", 3, "t 0:500 t 1:500 2:200",
             "send 0;silent 0 false;silent-> 1 0;send 1;"
             "rsp 0 500 false;bad 0;remove 0;waits true;silent 1 false;silent-> 2 1;send 2;"
             "rsp 1 500 true;bad 1;remove 1;rsp 2 200 true;good 2",
             true, "b2"},
        Case{"LateFailureThenTheAwaitedFails", 3, "t 0:500 1:500 2:200",
             "send 0;silent 0 false;silent-> 1 0;send 1;rsp 0 500 false;bad 0;remove 0;waits true;"
             "rsp 1 500 false;bad 1;stop 1;remove 1;waits false;-> 2 1;send 2;"
             "rsp 2 200 true;good 2",
             true, "b2"},
        Case{"TimeOutAloneFailsNothing", 2, "t t t 0:500 1:500",
             "send 0;silent 0 false;silent-> 1 0;send 1;silent 1 true;"
             "rsp 0 500 true;bad 0;remove 0;rsp 1 500 true;bad 1;remove 1;last;fail",
             false, "b1"}),
    [](const auto& tested) { return tested.param.name; });

// The helper alone, for what it hands to its slot.
TEST_F(AgentTest, RecordsEachFailureOnceWithTheAddressesOfItsHost) {
  MultipleURLHttpRequest request;
  const std::string literal = "http://[::1]:8/a";
  request.urls = {{literal, ""}, {literal, ""}, {literal, ""}, {"http://localhost/b", ""}};
  request.check = [](int32_t, int32_t code, const std::string&, const std::string&, bool& record) {
    record = code != 403;
    return false;
  };
  std::list<zo_sturdy::StatisticRecord> records;
  OnThread([&] {
    auto* helper = new MultipleURLHttpRequestHelper(request);
    helper->Connect(
        zo_base::SignalKey(&MultipleURLHttpRequestHelper::SIG_ALL_SUB_REQUEST_RETURN),
        [&, helper](bool, const std::string&, const std::string&, const MultipleURLHttpRequest&) {
          records = helper->GetFailList();
          delete helper;
        });
    helper->InvokeRequest();
  });
  for (const int code : {500, 500, 403}) {
    clock_.Advance(7);
    transport_->Answer(literal, code);
    Settle();
  }
  clock_.Advance(11);
  transport_->Answer("http://localhost/b", 2000);
  Settle();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records.front().request_url, literal);
  EXPECT_EQ(records.front().error_code, 500);
  EXPECT_EQ(records.front().send_time, 7);
  EXPECT_EQ(records.front().host_ip, (std::list<std::string>{"[::1]"}));
  EXPECT_EQ(records.back().error_code, 0);
  EXPECT_EQ(records.back().send_time, 11);
  EXPECT_EQ(records.back().timestamp, static_cast<uint64_t>(zo_base::Clock::WallMs()));
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
    Outcome outcome;
    StartRequest(Request(2, outcome));
    EXPECT_NE(transport_->WaitFor(Url(0)), nullptr);
    together.arrive_and_wait();
    transport_->Answer(Url(0), 200);
    good += outcome.Wait() && outcome.success ? 1 : 0;
  }
  time.join();
  EXPECT_EQ(good, kRounds);
}

TEST_F(AgentTest, NoUrlIsSentOnceTheLoopHasEnded) {
  Outcome outcome;
  StartRequest(Request(4, outcome));
  clock_.Advance(2000);
  Settle();
  clock_.Advance(2000);
  Settle();
  EXPECT_NE(transport_->WaitFor(Url(2)), nullptr);
  EndThread();
  for (const int i : {2, 0, 1}) {
    EXPECT_EQ(outcome.calls, 0);
    transport_->Answer(Url(i), 500, std::to_string(i));
  }
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_FALSE(outcome.success);
  EXPECT_EQ(outcome.body, "1");
  EXPECT_EQ(outcome.thread, std::this_thread::get_id());
  EXPECT_EQ(transport_->sent(), 3);
  EXPECT_EQ(Live(), 0U);
}

TEST_F(AgentTest, LoopEndsWithThreeAnswersInFlight) {
  constexpr int kRounds = 100;
  size_t told = 0;
  for (int round = 0; round < kRounds; ++round) {
    Outcome outcome;
    const bool wins = round % 2 == 0;
    StartRequest(Request(3, outcome));
    for (int i = 0; i < 2; ++i) {
      clock_.Advance(2000);
      Settle();
    }
    std::barrier together(4);
    std::vector<std::thread> answers;
    for (int i = 0; i < 3; ++i) {
      EXPECT_NE(transport_->WaitFor(Url(i)), nullptr);
      answers.emplace_back([&, i] {
        together.arrive_and_wait();
        transport_->Answer(Url(i), wins && i == 1 ? 200 : 500);
      });
    }
    together.arrive_and_wait();
    EndThread();
    for (std::thread& answer : answers) {
      answer.join();
    }
    EXPECT_LE(outcome.calls, 1);
    EXPECT_TRUE(outcome.calls == 0 || outcome.success == wins);
    told += outcome.calls;
    thread_ = std::make_shared<zo_base::BaseThread>("requests");
    thread_->Start();
  }
  EXPECT_EQ(transport_->sent(), 3 * kRounds);
  // Requests whose answers the ending loop swallowed stay, reachable, with the rest of them.
  EXPECT_EQ(Live(), kRounds - told);
}

}  // namespace
