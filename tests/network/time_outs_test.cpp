#include <gtest/gtest.h>

#include <thread>

#include "lab/lab.h"
#include "lab/port.h"
#include "tests/network/expect_end.h"

namespace KRBASE::network {
namespace {

using namespace std::chrono_literals;
using lab::HttpServer;
using lab::Lab;
using zo_base::ScopedTestClock;

TEST(TimeOut, EndsEachStallOfAnAnswer) {
  const struct {
    lab::Behaviour behaviour;
    HttpInterfaceError error;
    TransferCause cause;
    int32_t status;
  } kStalls[] = {
      {lab::Silent(), kHttpOpenFailed, TransferCause::kHeadTimeout, 0},
      {lab::Answer("late").HeadDripped(100), kHttpOpenFailed, TransferCause::kHeadTimeout, 0},
      {lab::Answer("ab").InPieces(2, 3600000), kHttpQueryFailed, TransferCause::kReadTimeout, 200},
  };
  for (const auto& stall : kStalls) {
    const Lab lab({HttpServer("it").On("/", stall.behaviour)});
    ExpectEnd(lab.Url("it", "/"), "", stall.error, stall.cause, stall.status, kReceiveMs);
    EXPECT_TRUE(lab.journal().WaitForOpen("it", 0, 10s));
  }
}

// Answers the handshake with a record of TLS that comes byte by byte, until the client leaves.
struct DrippingServer {
  void Run() {
    boost::asio::ip::tcp::socket client = listener.accept();
    boost::system::error_code error;
    for (const std::string start("\x16\x03\x03\x40\x00", 5); !error;) {
      client.write_some(boost::asio::buffer(start.substr(std::min(sent++, size_t{4}), 1)), error);
      std::this_thread::sleep_for(50ms);
    }
  }

  boost::asio::io_context io;
  lab::LoopbackPort port{io, "127.0.0.1", 0};
  boost::asio::ip::tcp::acceptor listener = port.Listen(1);
  const std::string url = "https://127.0.0.1:" + std::to_string(port.number()) + "/";
  size_t sent = 0;
  std::jthread thread{[this] { Run(); }};
};

TEST(TimeOut, EndsAHandshakeThatDrips) {
  const DrippingServer server;
  ExpectEnd(server.url, "", kHttpSendFailed, TransferCause::kConnectTimeout, 0, kConnectMs);
}

TEST(TimeOut, OfTheWholeIncludesRedirects) {
  ScopedTestClock clock;
  int requests = 0;
  const Lab lab({HttpServer("it").On("/", lab::RedirectLoop())}, [&](const auto& /*request*/) {
    // The first request may come before the transfer begins to wait.
    clock.Advance(++requests > 1 ? 8000 : 0);
  });
  CWinHttp http;
  http.SetTimeOut(kConnectMs, kSendMs, kReceiveMs);
  EXPECT_EQ(http.Request(lab.Url("it", "/"), 0, "", ""), "");
  EXPECT_EQ(http.GetErrorCode(), kHttpOpenFailed);
  EXPECT_EQ(http.GetFailure()->cause, TransferCause::kTooLong);
  EXPECT_EQ(lab.journal().Requests().size(), 5U);
}

}  // namespace
}  // namespace KRBASE::network
