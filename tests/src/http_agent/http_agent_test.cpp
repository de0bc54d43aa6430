#include "src/sturdy/http_agent/logic/http_agent.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "src/sturdy/http_agent/http_tools/http_tool.h"
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

// The log is a pipe here. The sender's second long line fills the log's buffer, so the sender stays
// in the middle of its work until somebody reads the pipe.
TEST_F(AgentTest, AnswersWithoutALoopWaitForTheSender) {
  const auto may_answer = [] {
    const auto try_lock = [] {
      return std::unique_lock(zo_sturdy::HttpTool::DeliveryMutex(), std::try_to_lock).owns_lock();
    };
    return std::async(std::launch::async, try_lock).get();  // this thread may hold it already
  };
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
  auto* const logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
  logger->SetLevel(zo_base::LV_APP);
  logger->SetLogFile(pipe, 0, 0);
  Outcome outcome;
  const std::string url = Url(0) + std::string(40000, 'x');
  MultipleURLHttpRequest request = Request({url}, outcome);
  request.check = [&](const auto&...) { return !may_answer(); };
  auto sender =
      std::async(std::launch::async, [&] { agent_->InvokeMultipleURLHttpRequest(request); });
  transport_->WaitFor(url);
  EXPECT_FALSE(may_answer());
  {
    std::ifstream reader(pipe);
    std::filesystem::remove(pipe);
    reader.ignore(std::numeric_limits<std::streamsize>::max());
  }
  sender.get();
  transport_->Answer(url, 200);
  EXPECT_EQ(outcome.Result(), std::make_tuple(1, true, "")) << "answers come one at a time";
}

}  // namespace
