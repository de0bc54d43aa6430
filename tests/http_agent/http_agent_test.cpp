#include "src/sturdy/http_agent/logic/http_agent.h"

#include <system_error>

#include "base/platform/thread_for_test.h"
#include "base/thread_info.h"
#include "tests/http_agent/agent_fixture.h"

namespace {

using zo_sturdy::HttpAgent;
using zo_sturdy::MultipleURLHttpRequest;
using zo_sturdy::MultipleURLHttpRequestHelper;

TEST_F(AgentTest, TellsWhatItSendsAndThatItFailed) {
  for (const bool use_http_dns : {false, true}) {
    log_.StartHere();
    Outcome outcome;
    MultipleURLHttpRequest request = Request(2, outcome);
    request.urls[1].host = "name.test";
    request.use_http_dns = use_http_dns;
    StartRequest(request);
    transport_->Answer(Url(0), 500);
    transport_->Answer(Url(1), 404, "late", {{"A", "1"}, {"B", "2"}});
    ASSERT_TRUE(outcome.Wait());
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(outcome.headers, "A:1\r\nB:2");
    EXPECT_EQ(outcome.body, "late");
    Settle();
    const std::string value = use_http_dns ? "true" : "false";
    const Messages came = log_.Tagged({"[multiple]"});
    ASSERT_GE(came.size(), 2U);
    EXPECT_EQ(came[0],
              "[multiple]Invoke send multiple_time_out:2000 time_out:7000 use http dns:" + value);
    EXPECT_EQ(came[1],
              "[multiple]Invoke send multiple url\r\n-----------------------\r\nurl list:\r\n"
              "host: url:http://u0.test/\r\nhost:name.test url:http://u1.test/\r\n"
              "-----------------------");
    const Messages failed = log_.With("use http dns if fail:" + value);
    EXPECT_EQ(failed.size(), use_http_dns ? 1U : 2U);
  }
}

TEST_F(AgentTest, RequestWithoutUrlsIsToldAndReleased) {
  Outcome outcome;
  StartRequest(Request(0, outcome));
  MultipleURLHttpRequest silent;
  StartRequest(silent);  // has nobody to tell
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_FALSE(outcome.success);
  EXPECT_EQ(log_.With("[multiple] Request url list empty").size(), 2U);
  EXPECT_EQ(Live(), 0U);
}

TEST_F(AgentTest, InvokerRunsOnTheAgentsThreadWhileThereIsOne) {
  const zo_sturdy::HttpRequestInvoker invoke = config_->GetHttpRequestInvoker();
  ASSERT_TRUE(invoke);
  const auto run = [&](bool on_agent_thread) {
    std::string name = "none";
    Outcome outcome;
    MultipleURLHttpRequest request = Request(1, outcome);
    request.check = [&](int32_t, int32_t, const std::string&, const std::string&, bool&) {
      const zo_base::ThreadInfo* info = zo_base::CurrentThreadInfo();
      name = info != nullptr ? info->name : "pool";
      return true;
    };
    invoke(request, on_agent_thread);
    transport_->Answer(Url(0), 200);
    EXPECT_TRUE(outcome.Wait());
    return name;
  };
  EXPECT_EQ(run(true), "http_agent_work");
  EXPECT_EQ(run(false), "pool");
  agent_->Stop();
  agent_->Stop();
  EXPECT_EQ(run(true), "pool");
  agent_.reset();
  Outcome outcome;
  invoke(Request(1, outcome), true);
  EXPECT_EQ(transport_->sent(), 3);
}

// Two threads answer two requests that began on a thread without a loop.
TEST_F(AgentTest, AnswersWithoutALoopComeOneAtATime) {
  constexpr int kRounds = 100;
  for (int round = 0; round < kRounds; ++round) {
    Outcome outcome;
    MultipleURLHttpRequest request = Request(3, outcome);
    std::thread answers([&] {
      for (const int i : {0, 1, 2}) {
        transport_->Answer(Url(i), i == 2 ? 200 : 0);
      }
    });
    agent_->InvokeMultipleURLHttpRequest(request);
    answers.join();
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_TRUE(outcome.success);
  }
  EXPECT_EQ(Live(), 0U);
}

TEST_F(AgentTest, OutcomeForAnAgentThatIsGoneIsNotTold) {
  Outcome outcome;
  StartRequest(Request(1, outcome));
  agent_->Stop();
  agent_.reset();
  transport_->Answer(Url(0), 200);
  Settle();
  EXPECT_EQ(outcome.calls, 0);
  EXPECT_EQ(Live(), 1U);
}

TEST_F(AgentTest, AgentMayDieWhileItsOwnThreadTellsAnOutcome) {
  std::promise<void> telling;
  std::promise<void> dying;
  MultipleURLHttpRequest request;
  request.urls = {{Url(0), ""}};
  request.check = [](int32_t, int32_t, const std::string&, const std::string&, bool&) {
    return true;
  };
  std::atomic<bool> told{false};
  request.callback = [&](bool, const std::string&, const std::string&) {
    telling.set_value();
    dying.get_future().wait();
    told = true;
  };
  config_->GetHttpRequestInvoker()(request, true);
  transport_->Answer(Url(0), 200);
  telling.get_future().wait();
  const std::weak_ptr<HttpAgent> weak = agent_;
  std::thread owner([&] { agent_.reset(); });
  while (!weak.expired()) {
    std::this_thread::yield();
  }
  dying.set_value();
  owner.join();
  EXPECT_TRUE(told);
}

TEST_F(AgentTest, FailedStartLeavesNothingAndTheNextOneWorks) {
  KRBASE::network::HttpClient::Instance()->Stop();
  for (const int failing : {1, 12, 13}) {
    const auto agent = std::make_shared<HttpAgent>();
    agent->SetEnvironmentConfig(config_);
    zo_base::FailThreadStartForTest(failing);
    EXPECT_THROW(agent->Start(), std::system_error);
    zo_base::FailThreadStartForTest(0);
    agent->Start();
    agent->Stop();
    KRBASE::network::HttpClient::Instance()->Stop();
  }
}

TEST(QueryHost, AnswersAsIfNothingResolved) {
  HttpAgent agent;
  std::string result;
  for (const char* literal : {"127.0.0.1", "[::1]", "::1", "0x7f.1"}) {
    EXPECT_FALSE(agent.QueryHost(literal, 0, result));
    EXPECT_EQ(result, R"({"code": 1})");
  }
  EXPECT_FALSE(agent.QueryHost("name.test", 7, result));
  EXPECT_EQ(result, R"({"code": 2})");
}

}  // namespace
