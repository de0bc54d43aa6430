#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <future>

#include "base/thread/clock_for_test.h"
#include "lab/lab.h"
#include "network/http_interface_error.h"
#include "network/win_http.h"
#include "tests/support/own_network.h"

namespace KRBASE::network {
namespace {

using namespace std::chrono_literals;
using lab::HttpServer;
using lab::HttpsServer;
using lab::Lab;
using zo_base::ScopedTestClock;

// Hours, so that a limit that isn't reckoned by the set clock never ends its test. The others have
// less, since the limit of the whole ends them too.
constexpr int32_t kConnectMs = 7200000;
constexpr int32_t kSendMs = 15000;
constexpr int32_t kReceiveMs = 20000;

// A transfer that only the clock can end does so with this, and not before its limit. `each_time`
// is called whenever the clock has been set.
void ExpectEnd(
    const std::string& url, const std::string& post_data, HttpInterfaceError error, int32_t status,
    int64_t limit_ms, const std::function<void()>& each_time = [] {}) {
  ScopedTestClock clock;
  std::future<void> transfer = std::async(std::launch::async, [&] {
    CWinHttp http;
    http.SetTimeOut(kConnectMs, kSendMs, kReceiveMs);
    EXPECT_EQ(http.Request(url, post_data.empty() ? 0 : 1, "", post_data), "");
    EXPECT_EQ(http.GetErrorCode(), error);
    EXPECT_EQ(http.GetStatusCode(), status);
  });
  int64_t passed_ms = 0;
  for (; transfer.wait_for(1ms) != std::future_status::ready; passed_ms += limit_ms / 40) {
    clock.Advance(limit_ms / 40);
    each_time();
  }
  EXPECT_GE(passed_ms, limit_ms);
}

TEST(TimeOut, EndsEachStall) {
  const lab::Behaviour dripped = lab::Answer("late").HeadDripped(100);
  const lab::Behaviour in_pieces = lab::Answer("ab").InPieces(2, 3600000);
  const struct {
    lab::Server server;
    HttpInterfaceError error;
    int32_t status;
    int32_t limit_ms;
  } kStalls[] = {
      {HttpServer("it").Listens(lab::Listening::kNeverConnect), kHttpSendFailed, 0, kConnectMs},
      {HttpsServer("it").Listens(lab::Listening::kNoHandshake), kHttpSendFailed, 0, kConnectMs},
      {HttpServer("it").On("/", lab::Silent()), kHttpOpenFailed, 0, kReceiveMs},
      {HttpServer("it").On("/", dripped), kHttpOpenFailed, 0, kReceiveMs},
      {HttpServer("it").On("/", in_pieces), kHttpQueryFailed, 200, kReceiveMs},
  };
  for (const auto& stall : kStalls) {
    const Lab lab({stall.server});
    ExpectEnd(lab.Url("it", "/"), "", stall.error, stall.status, stall.limit_ms);
    EXPECT_TRUE(lab.WaitForOpen("it", 0, 10s));
  }
}

TEST(TimeOut, OfSendingBoundsAStepAndTheWhole) {
  // A connection stays in the queue, and nobody reads.
  const int listener = BindLoopback(SOCK_STREAM, 0);
  sockaddr_in6 address{};
  socklen_t length = sizeof(address);
  ASSERT_EQ(listen(listener, 1), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
  const std::string url = "http://[::1]:" + std::to_string(ntohs(address.sin6_port)) + "/";
  const std::string more_than_sockets_hold(size_t{64} << 20U, 'x');
  ExpectEnd(url, more_than_sockets_hold, kHttpSendFailed, 0, kSendMs);
  close(accept(listener, nullptr, nullptr));

  // Each step makes progress now, and all of them together would take minutes.
  int reader = -1;
  std::string taken(size_t{256} << 10U, '\0');
  ExpectEnd(url, more_than_sockets_hold, kHttpSendFailed, 0, 30000, [&] {
    reader = reader < 0 ? accept4(listener, nullptr, nullptr, SOCK_NONBLOCK) : reader;
    (void)recv(reader, taken.data(), taken.size(), MSG_DONTWAIT);
  });
  close(reader);
  close(listener);
}

TEST(TimeOut, OfTheWholeHoldsOverRedirects) {
  ScopedTestClock clock;
  int requests = 0;
  const Lab lab({HttpServer("it").On("/", lab::RedirectLoop())}, [&](const auto& /*request*/) {
    // The first may come before the transfer begins to wait.
    clock.Advance(++requests > 1 ? 8000 : 0);
  });
  CWinHttp http;
  http.SetTimeOut(kConnectMs, kSendMs, kReceiveMs);
  EXPECT_EQ(http.Request(lab.Url("it", "/"), 0, "", ""), "");
  EXPECT_EQ(http.GetErrorCode(), kHttpOpenFailed);
  EXPECT_EQ(lab.Requests().size(), 5U);
}

}  // namespace
}  // namespace KRBASE::network
