#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <ostream>
#include <string>

#include "base/clock_for_test.h"
#include "lab/lab.h"
#include "network/http_interface_error.h"
#include "network/platform/http_handles.h"
#include "network/platform/http_url.h"
#include "network/win_http.h"

namespace KRBASE::network {
namespace {

using lab::HttpServer;
using lab::HttpsServer;
using lab::Lab;
using zo_base::ScopedTestClock;

// Hours, so that a limit that isn't reckoned by the set clock never ends its test. Receiving has
// less, since 30 s for the whole end it too.
constexpr int32_t kConnectMs = 7200000;
constexpr int32_t kSendMs = 10800000;
constexpr int32_t kReceiveMs = 20000;

// Takes connections into its queue and never reads.
class DeafServer {
 public:
  DeafServer() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(listener_, generic, length), 0);
    EXPECT_EQ(listen(listener_, 1), 0);
    EXPECT_EQ(getsockname(listener_, generic, &length), 0);
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
  }
  ~DeafServer() { close(listener_); }
  DeafServer(const DeafServer&) = delete;
  DeafServer& operator=(const DeafServer&) = delete;

  const std::string& url() const { return url_; }

 private:
  const int listener_;
  std::string url_;
};

// How a transfer ends that only the clock can end, and how far that had to be set on.
struct End {
  HttpInterfaceError error;
  int32_t status;
  int64_t advanced_ms;
};

End TransferByTheClock(const std::string& url, const std::string& post_data, int64_t step_ms) {
  ScopedTestClock clock;
  End end{};
  std::future<void> transfer = std::async(std::launch::async, [&] {
    CWinHttp http;
    http.SetTimeOut(kConnectMs, kSendMs, kReceiveMs);
    EXPECT_EQ(http.Request(url, post_data.empty() ? 0 : 1, "", post_data), "");
    end.error = http.GetErrorCode();
    end.status = http.GetStatusCode();
  });
  int64_t advanced_ms = 0;
  while (transfer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
    clock.Advance(step_ms);
    advanced_ms += step_ms;
  }
  end.advanced_ms = advanced_ms;
  return end;
}

struct Stall {
  const char* name;
  lab::Server server;
  HttpInterfaceError error;
  int32_t status;
  int32_t limit_ms;
};

void PrintTo(const Stall& stall, std::ostream* out) {
  *out << stall.name;
}

class StallTest : public testing::TestWithParam<Stall> {};

TEST_P(StallTest, EndsAtItsLimit) {
  const Stall& stall = GetParam();
  const Lab lab({stall.server});
  const End end = TransferByTheClock(lab.Url("it", "/"), "", stall.limit_ms / 40);
  EXPECT_EQ(end.error, stall.error);
  EXPECT_EQ(end.status, stall.status);
  EXPECT_GE(end.advanced_ms, stall.limit_ms);
  EXPECT_TRUE(lab.WaitForOpen("it", 0, std::chrono::seconds(10)));
}

const Stall kStalls[] = {
    {"connect", HttpServer("it").Listens(lab::Listening::kNeverConnect), kHttpSendFailed, 0,
     kConnectMs},
    {"handshake", HttpsServer("it").Listens(lab::Listening::kNoHandshake), kHttpSendFailed, 0,
     kConnectMs},
    {"head", HttpServer("it").On("/", lab::Silent()), kHttpOpenFailed, 0, kReceiveMs},
    {"head_secure", HttpsServer("it").On("/", lab::Silent()), kHttpOpenFailed, 0, kReceiveMs},
    {"dripped_head", HttpServer("it").On("/", lab::Answer("late").HeadDripped(100)),
     kHttpOpenFailed, 0, kReceiveMs},
    {"body", HttpServer("it").On("/", lab::Answer("ab").InPieces(2, 3600000)), kHttpQueryFailed,
     200, kReceiveMs},
};

INSTANTIATE_TEST_SUITE_P(All, StallTest, testing::ValuesIn(kStalls),
                         [](const auto& one) { return one.param.name; });

TEST(TimeOut, OfSendingBoundsAStepWithoutProgress) {
  const DeafServer deaf;
  const std::string more_than_sockets_hold(size_t{64} << 20U, 'x');
  const End end = TransferByTheClock(deaf.url(), more_than_sockets_hold, kSendMs / 40);
  EXPECT_EQ(end.error, kHttpSendFailed);
  EXPECT_GE(end.advanced_ms, kSendMs);
}

TEST(TimeOut, OfTheWholeEndsABodyThatNeverPauses) {
  const Lab lab({HttpServer("it").On("/", lab::Endless(1))});
  ScopedTestClock clock;
  const auto session = platform::HttpSession::Open("test");
  session->SetTimeOuts({kConnectMs, kSendMs, kReceiveMs});
  const auto connection =
      platform::HttpConnection::Open(*session, "127.0.0.1", static_cast<uint16_t>(lab.Port("it")));
  const auto request = platform::HttpRequestHandle::Open(*connection, "GET", "/", false);
  ASSERT_TRUE(request->Send("", ""));
  ASSERT_TRUE(request->ReceiveResponse());
  char buffer[8];
  size_t available_bytes = 0;
  size_t read_bytes = 0;
  for (const int64_t advance_ms : {19999, 10000, 1}) {  // each within the limit of a read
    ASSERT_TRUE(request->QueryDataAvailable(available_bytes));
    ASSERT_TRUE(request->ReadData(buffer, sizeof(buffer), read_bytes));
    clock.Advance(advance_ms);
  }
  EXPECT_FALSE(request->QueryDataAvailable(available_bytes));
  EXPECT_EQ(*request->QueryHeaders(platform::HttpQuery::kStatusCode), "200");
}

TEST(TimeOut, OfTheWholeHoldsOverRedirects) {
  ScopedTestClock clock;
  int requests = 0;
  const Lab lab({HttpServer("it").On("/", lab::RedirectLoop())}, [&](const lab::Request& /*one*/) {
    // The first may come before the transfer begins to wait.
    if (++requests > 1) {
      clock.Advance(8000);
    }
  });
  CWinHttp http;
  http.SetTimeOut(kConnectMs, kSendMs, kReceiveMs);
  EXPECT_EQ(http.Request(lab.Url("it", "/"), 0, "", ""), "");
  EXPECT_EQ(http.GetErrorCode(), kHttpOpenFailed);
  EXPECT_EQ(lab.Requests().size(), 5U);
}

}  // namespace
}  // namespace KRBASE::network
