#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <future>

#include "network/http_client.h"
#include "network/http_response.h"
#include "tests/network/outcome.h"
#include "tests/support/posix/has_thread.h"
#include "tests/support/sanitizers.h"

namespace KRBASE::network {
namespace {

using namespace std::chrono_literals;

// libcurl would replace the handler for the time of each of its steps, on all workers at once.
TEST(HostProcess, KeepsItsSignalHandlerWhileNamedThreadsTransfer) {
  constexpr int kTransfers = 240;
  const lab::Lab lab({lab::HttpServer("it").On("/", lab::Answer("fine"))});
  void (*const handler)(int) = [](int) {};
  void (*const before)(int) = signal(SIGPIPE, handler);
  HttpClient* const client = HttpClient::Instance();
  client->Start();
  std::vector<std::promise<void>> answers(kTransfers);
  for (std::promise<void>& answer : answers) {
    const auto request = std::make_shared<HttpRequestUser>();
    request->method = kHttpMethodGet;
    request->url = lab.Url("it", "/");
    request->callback = [&answer](HttpClient*, const auto&, int32_t) { answer.set_value(); };
    client->Send(request);
  }
  int replaced = 0;
  struct sigaction now {};
  for (std::promise<void>& answer : answers) {
    std::future<void> answered = answer.get_future();
    while (answered.wait_for(0ms) != std::future_status::ready) {
      sigaction(SIGPIPE, nullptr, &now);
      replaced += now.sa_handler == handler ? 0 : 1;
    }
  }
  EXPECT_EQ(replaced, 0);
  EXPECT_TRUE(HasThread("http dispatcher") && HasThread("http worker"));
  client->Stop();
  signal(SIGPIPE, before);
}

TEST(HostProcess, WithoutDescriptorsGetsTheCauseOutOfMemory) {
  if (kSanitized) {
    GTEST_SKIP() << "the sanitizers' own checks take a descriptor now and then";
  }
  const lab::Lab lab({lab::HttpServer("refuses").Listens(lab::Listening::kRefuse)});
  const std::string url = lab.Url("refuses", "/");
  EXPECT_EQ(std::get<3>(Get(url)), "refused");  // libcurl is loaded now
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_EQ(std::get<3>(Get(url)), "out_of_memory");
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace
}  // namespace KRBASE::network
