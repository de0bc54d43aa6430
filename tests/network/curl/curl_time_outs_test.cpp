#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>

#include "lab/lab.h"
#include "lab/port.h"
#include "network/http_request_win.h"
#include "network/platform/curl/curl_transfer.h"
#include "tests/network/expect_end.h"

namespace KRBASE::network {
namespace {

using namespace std::chrono_literals;
using lab::HttpServer;
using lab::HttpsServer;
using lab::Lab;
using zo_base::ScopedTestClock;

TEST(TimeOut, EndsAConnectThatStalls) {
  for (const lab::Server& stalled : {HttpServer("it").Listens(lab::Listening::kNeverConnect),
                                     HttpsServer("it").Listens(lab::Listening::kNoHandshake)}) {
    const Lab lab({stalled});
    ExpectEnd(lab.Url("it", "/"), "", kHttpSendFailed, TransferCause::kConnectTimeout, 0,
              kConnectMs);
    EXPECT_TRUE(lab.journal().WaitForOpen("it", 0, 10s));
  }
}

// Listens, and never reads from its connections. They wait in its queue.
struct DeafServer {
  boost::asio::io_context io;
  lab::LoopbackPort port{io, "127.0.0.1", 0};
  boost::asio::ip::tcp::acceptor listener = port.Listen(1);
  const std::string url = "http://127.0.0.1:" + std::to_string(port.number()) + "/";
};

constexpr size_t kMoreThanSocketsHold = size_t{64} << 20U;

TEST(TimeOut, OfSendingBoundsAStepAndTheWhole) {
  DeafServer server;
  const std::string body(kMoreThanSocketsHold, 'x');
  ExpectEnd(
      server.url, body, kHttpSendFailed, TransferCause::kSendFailed, 0, kSendMs, [] {}, 10ms);
  close(accept(server.listener.native_handle(), nullptr, nullptr));

  // Each step makes progress now, but all of them would take minutes.
  int reader = -1;
  std::string taken(size_t{256} << 10U, '\0');
  ExpectEnd(server.url, body, kHttpSendFailed, TransferCause::kTooLong, 0, 30000, [&] {
    reader = reader < 0 ? accept4(server.listener.native_handle(), nullptr, nullptr, SOCK_NONBLOCK)
                        : reader;
    (void)recv(reader, taken.data(), taken.size(), MSG_DONTWAIT);
  });
  close(reader);
}

// Expects the transport to give up after 2 s without progress, and always by `at_most_ms`.
void ExpectTransportEnd(const std::string& url, size_t body_bytes, int64_t at_most_ms) {
  constexpr int64_t kLimitMs = 2000;
  ScopedTestClock clock;
  HttpRequestWin transport;
  transport.MakePool();
  const auto request = std::make_shared<HttpRequest>();
  request->url = url;
  request->time_out = kConnectMs;
  request->body.resize(body_bytes, 'x');
  std::promise<int32_t> promise;
  std::future<int32_t> status = promise.get_future();
  transport.Send(request, [&](const auto& response) { promise.set_value(response->status); });
  const auto ends_within = [&status](std::chrono::milliseconds real_time) {
    return status.wait_for(real_time) == std::future_status::ready;
  };
  EXPECT_FALSE(ends_within(300ms));
  clock.Advance(kLimitMs - 1);
  EXPECT_FALSE(ends_within(300ms));
  // The limit begins with the last progress, which may come after the clock was advanced.
  for (int64_t passed_ms = kLimitMs; passed_ms < at_most_ms && !ends_within(300ms);
       passed_ms += kLimitMs) {
    clock.Advance(kLimitMs);
  }
  EXPECT_TRUE(ends_within(10s));
  clock.Advance(kConnectMs);  // ends what hasn't ended
  EXPECT_EQ(status.get(), 0);
}

TEST(TimeOut, OfTheTransportIsTwoSecondsForSendingAndReceiving) {
  const Lab lab({HttpServer("silent").On("/", lab::Silent())});
  ExpectTransportEnd(lab.Url("silent", "/"), 0, 4000);
  ExpectTransportEnd(DeafServer().url, kMoreThanSocketsHold, 28000);
}

// Runs in real time: libcurl doesn't read our clock when it gives each address its share.
TEST(TimeOut, OfConnectingLeavesTimeForTheNextAddress) {
  const Lab lab({HttpServer("dead").At("127.0.0.2").Listens(lab::Listening::kNeverConnect),
                 HttpServer("live").OnPortOf("dead").On("/", lab::Answer("fine"))});
  platform::LoadCurl();
  platform::TransferPlan plan;
  plan.url = *platform::CrackUrl(lab.Url("live", "/"), 260, 1300);
  plan.addresses = {{127, 0, 0, 2}, {127, 0, 0, 1}};
  plan.time_outs.connect_ms = 4000;
  platform::CurlTransfer transfer(plan);
  EXPECT_TRUE(transfer.Send());
  EXPECT_TRUE(transfer.ReceiveHead());
}

}  // namespace
}  // namespace KRBASE::network
