#include "network/http_client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "base/mutex.h"
#include "base/platform/thread.h"
#include "base/platform/thread_for_test.h"
#include "lab/lab.h"
#include "network/http_response.h"

namespace KRBASE::network {
namespace {

using namespace std::chrono_literals;
using lab::Answer;
using lab::HttpServer;
using lab::Lab;

constexpr int kPoolThreads = 12;

// One answer as its callback got it.
struct Got {
  std::shared_ptr<HttpResponseUser> response;
  int32_t error = 1;
  HttpRequest* request = nullptr;
  bool on_library_thread = false;
};

class HttpClientTest : public testing::Test {
 protected:
  HttpClientTest() : client(HttpClient::Instance()) {}
  ~HttpClientTest() override {
    lab.OpenGate("gate");
    client->Stop();
    EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  }

  std::shared_ptr<HttpRequestUser> Request(const std::string& path) {
    auto request = std::make_shared<HttpRequestUser>();
    request->method = kHttpMethodGet;
    request->url = lab.Url("it", path);
    request->time_out = 5000;
    return request;
  }

  // The future stays broken if the request is dropped.
  static std::future<Got> Answered(const std::shared_ptr<HttpRequestUser>& request) {
    auto promise = std::make_shared<std::promise<Got>>();
    std::future<Got> future = promise->get_future();
    request->callback = [promise](HttpClient* /*client*/,
                                  const std::shared_ptr<HttpResponseUser>& response,
                                  int32_t error) {
      promise->set_value(
          {response, error, response ? response->request : nullptr, zo_base::IsLibraryThread()});
    };
    return future;
  }

  std::future<Got> Send(const std::string& path) {
    auto request = Request(path);
    std::future<Got> future = Answered(request);
    client->Send(request);
    return future;
  }

  HttpClient* const client;
  Lab lab{
      {HttpServer("it")
           .On("/",
               Answer(std::string("a\0b", 3)).Field("X-Name", "two words").Field("X-Time", "12:30"))
           .On("/none", Answer(204))
           .On("/held", Answer("late").HeldAt("gate"))}};
};

TEST(HttpRequest, BeginsWithItsDefaults) {
  const HttpRequestUser first;
  const HttpRequest second;
  EXPECT_EQ(second.id, first.id + 1);
  EXPECT_EQ(first.method, 5);
  EXPECT_EQ(first.time_out, 30000);
  EXPECT_EQ(first.port, 443);
  EXPECT_FALSE(first.sni);
  EXPECT_EQ(first.state, 0);
}

TEST_F(HttpClientTest, BringsTheAnswerToTheCallback) {
  client->Start();
  client->Start();
  EXPECT_EQ(zo_base::LiveLibraryThreads(), kPoolThreads);
  client->Send(nullptr);
  EXPECT_EQ(zo_base::LiveLibraryThreads(), kPoolThreads + 1);
  auto request = Request("/");
  std::future<Got> future = Answered(request);
  client->Send(request);
  const Got got = future.get();
  EXPECT_EQ(got.error, 0);
  EXPECT_TRUE(got.on_library_thread);
  EXPECT_EQ(got.request, request.get());
  EXPECT_TRUE(got.response->success);
  EXPECT_EQ(got.response->status, 200);
  EXPECT_EQ(got.response->body, "a");  // up to the zero byte
  EXPECT_EQ(got.response->message, "");
  EXPECT_TRUE(got.response->data.empty());
  bool has_name = false;
  for (const auto& [name, value] : got.response->headers) {
    has_name = has_name || (name == "X-Name" && value == " two words");
    EXPECT_NE(name, "X-Time");
    EXPECT_EQ(name.find("HTTP/"), std::string::npos);
  }
  EXPECT_TRUE(has_name);
  EXPECT_EQ(Send("/none").get().response->success, false);
}

TEST_F(HttpClientTest, TheThirteenthWaitsForAWorker) {
  client->Start();
  std::vector<std::future<Got>> slow;
  for (int i = 0; i < kPoolThreads; ++i) {
    slow.push_back(Send("/held"));
  }
  ASSERT_TRUE(lab.WaitForHeld("gate", kPoolThreads, 10s));
  std::future<Got> thirteenth = Send("/");
  lab.OpenGate("gate");
  EXPECT_EQ(thirteenth.get().response->status, 200);
  for (std::future<Got>& one : slow) {
    EXPECT_EQ(one.get().response->body, "late");
  }
  EXPECT_EQ(lab.Requests().back().path, "/");
}

TEST_F(HttpClientTest, StopWaitsForWhatIsUnderWayAndDropsWhatWaits) {
  client->Start();
  std::vector<std::future<Got>> under_way;
  for (int i = 0; i < kPoolThreads; ++i) {
    under_way.push_back(Send("/held"));
  }
  ASSERT_TRUE(lab.WaitForHeld("gate", kPoolThreads, 10s));
  std::future<Got> waiting = Send("/");
  std::future<void> stopped = std::async(std::launch::async, [this] { client->Stop(); });
  // Once a request is dropped the stop has begun.
  for (bool is_dropped = false; !is_dropped;) {
    std::future<Got> probe = Send("/");
    is_dropped = probe.wait_for(0ms) == std::future_status::ready;
    if (is_dropped) {
      EXPECT_THROW(probe.get(), std::future_error);
    }
  }
  lab.OpenGate("gate");
  stopped.get();
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  for (std::future<Got>& one : under_way) {
    EXPECT_EQ(one.get().response->body, "late");
  }
  ASSERT_EQ(waiting.wait_for(0ms), std::future_status::ready);
  EXPECT_TRUE(lab.WaitForOpen("it", 0, 10s));
}

TEST_F(HttpClientTest, AStopLeavesItAsNew) {
  client->Stop();
  for (const bool has_dispatcher : {false, true, false}) {
    EXPECT_THROW(Send("/").get(), std::future_error);  // dropped, and no thread for it
    EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
    client->Start();
    if (has_dispatcher) {
      EXPECT_EQ(Send("/").get().response->status, 200);
    }
    client->Stop();
    EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  }
  client->Start();
  EXPECT_EQ(Send("/").get().response->status, 200);
}

TEST_F(HttpClientTest, LivesWithoutThreads) {
  for (int n = 1; n <= kPoolThreads; ++n) {
    zo_base::FailThreadStartForTest(n);
    EXPECT_THROW(client->Start(), std::system_error);
    EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  }
  client->Start();
  zo_base::FailThreadStartForTest(1);
  const Got got = Send("/").get();
  EXPECT_EQ(got.error, 0);
  EXPECT_EQ(got.response->status, 0);
  EXPECT_FALSE(got.on_library_thread);
  EXPECT_EQ(Send("/").get().response->status, 200);
}

TEST_F(HttpClientTest, LivesThroughFaultsOfCallbacks) {
  client->Start();
  for (int i = 0; i < 2 * kPoolThreads; ++i) {
    auto request = Request("/");
    request->callback = [](HttpClient*, const auto&, int32_t) { throw std::bad_function_call(); };
    client->Send(request);
  }
  client->Send(Request("/"));                     // without a callback
  client->Send(std::make_shared<HttpRequest>());  // of the plain class, without a URL
  EXPECT_EQ(Send("/").get().response->status, 200);
}

TEST_F(HttpClientTest, ACancelledRequestIsNotSent) {
  client->Start();
  // The dispatcher is held by the callback of the first that it finds cancelled.
  std::promise<void> go_on;
  std::shared_future<void> may_go_on = go_on.get_future().share();
  std::atomic<bool> is_held{false};
  while (!is_held) {
    auto request = Request("/none");
    auto done = std::make_shared<std::promise<void>>();
    request->callback = [&is_held, done](HttpClient*, const auto&, int32_t error) {
      is_held = is_held || error == -1;
      done->set_value();
    };
    request->callback = [inner = request->callback, may_go_on](HttpClient* it, const auto& response,
                                                               int32_t error) {
      inner(it, response, error);
      if (error == -1) {
        may_go_on.wait();
      }
    };
    client->Send(request);
    request->state = kHttpRequestCancelled;
    done->get_future().wait();
  }
  auto request = Request("/held");
  std::future<Got> future = Answered(request);
  client->Send(request);
  EXPECT_EQ(request->state, kHttpRequestQueued);
  request->state = kHttpRequestCancelled;
  go_on.set_value();
  const Got got = future.get();
  EXPECT_EQ(got.error, -1);
  EXPECT_EQ(got.response, nullptr);
  EXPECT_TRUE(lab.WaitForOpen("it", 0, 10s));
  for (const lab::Request& sent : lab.Requests()) {
    EXPECT_NE(sent.path, "/held");
  }
}

TEST_F(HttpClientTest, StartsSendsAndStopsFromManyThreads) {
  std::atomic<bool> is_over{false};
  std::vector<std::future<void>> senders;
  for (int i = 0; i < 4; ++i) {
    senders.push_back(std::async(std::launch::async, [this, &is_over] {
      while (!is_over) {
        client->Send(Request("/none"));
        std::this_thread::yield();
      }
    }));
  }
  for (int round = 0; round < 20; ++round) {
    client->Start();
    if (round % 2 == 0) {
      Send("/").wait();
    }
    client->Stop();
  }
  is_over = true;
  for (std::future<void>& sender : senders) {
    sender.get();
  }
}

}  // namespace
}  // namespace KRBASE::network
