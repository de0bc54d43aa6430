#include "network/http_client.h"

#include <gmock/gmock.h>

#include "base/platform/thread.h"
#include "base/platform/thread_for_test.h"
#include "lab/lab.h"
#include "network/http_response.h"
#include "network/threadpool.h"

namespace KRBASE::network {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Pair;

constexpr int kPoolThreads = 12;

// One answer as its callback got it.
struct Got {
  std::shared_ptr<HttpResponseUser> response;
  int32_t error = 1;
  bool on_library_thread = false;
};

class HttpClientTest : public testing::Test {
 protected:
  HttpClientTest() { client->Start(); }
  ~HttpClientTest() override {
    lab.OpenGate("gate");
    client->Stop();
    EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  }

  std::shared_ptr<HttpRequestUser> Request(const std::string& path) {
    auto request = std::make_shared<HttpRequestUser>();
    request->method = kHttpMethodGet;
    request->url = lab.Url("it", path);
    return request;
  }
  // The future is broken if the request is dropped.
  std::future<Got> Send(const std::shared_ptr<HttpRequestUser>& request) {
    auto promise = std::make_shared<std::promise<Got>>();
    request->callback = [promise](HttpClient*, const auto& response, int32_t error) {
      promise->set_value({response, error, zo_base::IsLibraryThread()});
    };
    client->Send(request);
    return promise->get_future();
  }
  std::future<Got> Send(const std::string& path) { return Send(Request(path)); }

  HttpClient* const client = HttpClient::Instance();
  const lab::Behaviour whole =
      lab::Answer(std::string("a\0b", 3)).Field("X-Name", "n m").Field("X-Time", "1:2");
  const lab::Behaviour held = lab::Answer("late").HeldAt("gate");
  lab::Lab lab{
      {lab::HttpServer("it").On("/", whole).On("/none", lab::Answer(204)).On("/held", held)}};
};

TEST_F(HttpClientTest, BringsTheAnswerToTheCallback) {
  client->Start();
  client->Send(nullptr);
  EXPECT_EQ(zo_base::LiveLibraryThreads(), kPoolThreads + 1);
  const auto request = Request("/");
  const Got got = Send(request).get();
  EXPECT_EQ(got.error, 0);
  EXPECT_TRUE(got.on_library_thread);
  EXPECT_EQ(got.response->request, request.get());
  EXPECT_TRUE(got.response->success);
  EXPECT_EQ(got.response->body, "a");  // up to the zero byte
  // Without X-Time, whose value holds a colon.
  EXPECT_THAT(got.response->headers,
              ElementsAre(Pair("X-Name", " n m"), Pair("Content-Length", " 3"),
                          Pair("Connection", " keep-alive")));
  EXPECT_FALSE(Send("/none").get().response->success);
}

TEST_F(HttpClientTest, StopWaitsForWhatIsUnderWayAndDropsWhatWaits) {
  std::vector<std::future<Got>> under_way(kPoolThreads);
  std::generate(under_way.begin(), under_way.end(), [this] { return Send("/held"); });
  ASSERT_TRUE(lab.WaitForHeld("gate", kPoolThreads, 10s));
  std::future<void> stopped = std::async(std::launch::async, [this] { client->Stop(); });
  // Those before the stop wait for a worker, and the first after it is dropped at once.
  while (Send("/").wait_for(0ms) != std::future_status::ready) {
  }
  lab.OpenGate("gate");
  stopped.get();
  EXPECT_EQ(zo_base::LiveLibraryThreads(), 0);
  for (std::future<Got>& one : under_way) {
    EXPECT_EQ(one.get().response->body, "late");
  }
  EXPECT_TRUE(lab.WaitForOpen("it", 0, 10s));
}

TEST_F(HttpClientTest, LivesThroughFaults) {
  zo_base::FailThreadStartForTest(1);
  const Got got = Send("/").get();  // without a dispatcher
  EXPECT_EQ(got.response->status, 0);
  EXPECT_FALSE(got.on_library_thread);
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
  // The dispatcher needs its thread first, so that the state is there in time; if it isn't, the
  // request is answered, and the next round tries again.
  Got got;
  for (int round = 0; got.error != -1; ++round) {
    ASSERT_LT(round, 1000);
    client->Stop();
    client->Start();
    lab.ForgetRequests();
    const auto request = Request("/none");
    std::future<Got> future = Send(request);
    request->state = kHttpRequestCancelled;
    got = future.get();
  }
  EXPECT_EQ(got.response, nullptr);
  EXPECT_EQ(Send("/").get().response->status, 200);
  EXPECT_EQ(lab.Requests().size(), 1U);
}

TEST_F(HttpClientTest, StartsSendsAndStopsFromManyThreads) {
  std::atomic<bool> is_over{false};
  std::vector<std::future<void>> senders;  // joined at its end
  for (int i = 0; i < 4; ++i) {
    senders.push_back(std::async(std::launch::async, [&] {
      for (; !is_over; std::this_thread::yield()) {
        client->Send(Request("/none"));
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
}

TEST(Threadpool, RunsInOrderAndDropsWhatWaitsAtItsEnd) {
  std::string order;
  std::future<void> dropped;
  {
    threadpool pool(1);
    for (const char name : {'a', 'b', 'c'}) {
      pool.commit([&order](char c) { order += c; }, name);
    }
    EXPECT_THROW(pool.commit([] { throw std::out_of_range("far out"); }).get(), std::out_of_range);
    pool.commit([&pool] {
      for (;;) {  // refused, and over, once the destructor below has stopped the pool
        pool.commit([] {});
      }
    });
    dropped = pool.commit([] {});
  }
  EXPECT_EQ(order, "abc");
  EXPECT_THROW(dropped.get(), std::future_error);
}

}  // namespace
}  // namespace KRBASE::network
