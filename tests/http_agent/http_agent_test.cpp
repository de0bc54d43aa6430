#include "src/sturdy/http_agent/logic/http_agent.h"

#include "base/thread_info.h"
#include "tests/http_agent/agent_fixture.h"

namespace {

using zo_sturdy::HttpAgent;
using zo_sturdy::MultipleURLHttpRequest;

TEST_F(AgentTest, TellsWhatItSendsAndThatItFailed) {
  Outcome outcome;
  MultipleURLHttpRequest request = Request(2, outcome);
  request.urls[1].host = "name.test";
  StartRequest(request);
  transport_->Answer(Url(0), 500);
  transport_->Answer(Url(1), 404, "late", {{"A", "1"}, {"B", "2"}});
  Settle();
  EXPECT_EQ(std::tie(outcome.success, outcome.headers, outcome.body),
            std::make_tuple(false, "A:1\r\nB:2", "late"));
  EXPECT_EQ(log_.With("use http dns if fail:false").size(), 2U);
  Messages came = log_.Tagged({"[multiple]"});
  came.resize(2);
  EXPECT_EQ(came, (Messages{"[multiple]Invoke send multiple_time_out:2000 time_out:7000 use http "
                            "dns:false",
                            "[multiple]Invoke send multiple url\r\n-----------------------\r\n"
                            "url list:\r\nhost: url:http://u0.test/\r\n"
                            "host:name.test url:http://u1.test/\r\n-----------------------"}));
}

TEST_F(AgentTest, RequestWithoutUrlsIsToldAndReleased) {
  Outcome outcome;
  StartRequest(Request(0, outcome));
  StartRequest(MultipleURLHttpRequest());  // has nobody to tell
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_FALSE(outcome.success);
  EXPECT_EQ(log_.With("[multiple] Request url list empty").size(), 2U);
  EXPECT_EQ(Live(), 0U);
}

TEST_F(AgentTest, RequestIsReleasedWhenItsOutcomeCantBeTold) {
  Outcome outcome;
  MultipleURLHttpRequest request = Request(1, outcome);
  for (const bool has_callback : {true, false}) {
    request.callback = nullptr;
    if (has_callback) {
      request.callback = [](const auto&...) { throw std::runtime_error("the client's own"); };
    }
    agent_->InvokeMultipleURLHttpRequest(request);
    transport_->Answer(Url(0), 200);
    EXPECT_EQ(Live(), 0U);
  }
}

TEST_F(AgentTest, InvokerRunsOnTheAgentsThreadWhileThereIsOne) {
  const zo_sturdy::HttpRequestInvoker invoke = config_->GetHttpRequestInvoker();
  const auto run = [&](bool on_agent_thread) {
    std::promise<std::string> name;
    Outcome outcome;
    MultipleURLHttpRequest request = Request(1, outcome);
    request.callback = [&](const auto&...) {
      const zo_base::ThreadInfo* info = zo_base::CurrentThreadInfo();
      name.set_value(info != nullptr ? info->name : "pool");
    };
    invoke(request, on_agent_thread);
    transport_->Answer(Url(0), 200);
    return name.get_future().get();
  };
  EXPECT_EQ(run(true), "http_agent_work");
  EXPECT_EQ(run(false), "pool");
  agent_->Stop();
  EXPECT_EQ(run(true), "pool");
  agent_.reset();
  Outcome outcome;
  invoke(Request(1, outcome), true);
  EXPECT_EQ(transport_->sent, 3);
}

TEST_F(AgentTest, AnswersWithoutALoopWaitForTheSender) {
  for (int round = 0; round < 100; ++round) {
    Outcome outcome;
    std::thread answers([&] {
      for (const int i : {0, 1, 2}) {
        transport_->Answer(Url(i), i == 2 ? 200 : 0);
      }
    });
    agent_->InvokeMultipleURLHttpRequest(Request(3, outcome));
    answers.join();
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_TRUE(outcome.success);
  }
  EXPECT_EQ(Live(), 0U);
}

TEST_F(AgentTest, OutcomeForAnAgentThatIsGoneIsNotTold) {
  Outcome outcome;
  StartRequest(Request(1, outcome));
  agent_.reset();
  transport_->Answer(Url(0), 200);
  Settle();
  EXPECT_EQ(outcome.calls, 0);
  EXPECT_EQ(Live(), 1U);
}

TEST(QueryHost, AgentThatDoesNotRunResolvesNothing) {
  HttpAgent agent;
  std::string result;
  for (const char* host : {"127.0.0.1", "[::1]", "::1", "0x7f.1", "name.test"}) {
    EXPECT_FALSE(agent.QueryHost(host, 7, result));
    EXPECT_EQ(result, host == std::string("name.test") ? "{\"code\": 2}" : "{\"code\": 1}");
  }
}

}  // namespace
