#include "src/sturdy/http_agent/logic/http_agent.h"

#include "tests/src/http_agent/agent_fixture.h"

namespace {

using zo_sturdy::HttpAgent;
using zo_sturdy::MultipleURLHttpRequest;

TEST_F(AgentTest, EveryRequestIsReleased) {
  Outcome outcome;
  StartRequest(Request({}, outcome));
  StartRequest(MultipleURLHttpRequest());  // without URLs and callback
  EXPECT_EQ(outcome.Result(), std::make_tuple(1, false, ""));
  EXPECT_EQ(log.With("[multiple] Request url list empty").size(), 2U);
  EXPECT_EQ(Live(), 0U);
  MultipleURLHttpRequest request = Request(Urls(1), outcome);
  for (const MultipleURLHttpRequest::Callback& callback :
       {MultipleURLHttpRequest::Callback(), MultipleURLHttpRequest::Callback([](const auto&...) {
          throw std::runtime_error("own");
        })}) {
    request.callback = callback;
    agent_->InvokeMultipleURLHttpRequest(request);
    transport_->Answer(Url(0), 200);
    EXPECT_EQ(Live(), 0U);
  }
}

TEST_F(AgentTest, InvokerRunsOnTheAgentsThreadWhileThereIsOne) {
  const zo_sturdy::HttpRequestInvoker invoke = config->GetHttpRequestInvoker();
  Outcome outcome;
  MultipleURLHttpRequest request = Request(Urls(1), outcome);
  const auto run = [&](bool on_agent_thread) {
    std::promise<std::string> name;
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
  invoke(request, true);
  EXPECT_EQ(transport_->sent, 3);
}

}  // namespace
