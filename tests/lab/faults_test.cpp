#include <curl/curl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/lab/client.h"
#include "tests/support/sanitizers.h"

namespace lab {
namespace {

using boost::asio::ip::tcp;
using testing::AnyOf;

struct Fetched {
  CURLcode code = CURLE_OK;
  bool handshake_done = false;
};

size_t DropBytes(char*, size_t size, size_t count, void*) {
  return size * count;
}

// Checks the certificate against `trusted_pem`, if that is given.
Fetched Fetch(const std::string& url, long limit_ms = 10000, const std::string& trusted_pem = "") {
  CURL* const curl = curl_easy_init();
  curl_blob trusted{const_cast<char*>(trusted_pem.data()), trusted_pem.size(), CURL_BLOB_COPY};
  if (!trusted_pem.empty()) {
    curl_easy_setopt(curl, CURLOPT_CAINFO_BLOB, &trusted);
  }
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, trusted_pem.empty() ? 0L : 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, trusted_pem.empty() ? 0L : 2L);
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, limit_ms);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &DropBytes);
  const CURLcode code = curl_easy_perform(curl);
  double handshake_s = 0;
  curl_easy_getinfo(curl, CURLINFO_APPCONNECT_TIME, &handshake_s);
  curl_easy_cleanup(curl);
  return {code, handshake_s > 0};
}

TEST(LabTest, EachFaultBelowHttpReachesTheClient) {
  constexpr long kShortMs = 300;  // where no end is expected
  constexpr long kLongMs = 10000;
  const struct {
    Listening listening;
    bool https;
    testing::Matcher<CURLcode> code;
  } cases[] = {
      {Listening::kRefuse, false, CURLE_COULDNT_CONNECT},
      {Listening::kNeverConnect, false, CURLE_OPERATION_TIMEDOUT},
      {Listening::kNoHandshake, true, CURLE_OPERATION_TIMEDOUT},
      {Listening::kSilent, false, CURLE_OPERATION_TIMEDOUT},
      {Listening::kSilent, true, CURLE_OPERATION_TIMEDOUT},
      {Listening::kClose, false, CURLE_GOT_NOTHING},
      {Listening::kClose, true, CURLE_SSL_CONNECT_ERROR},
      {Listening::kReset, false, AnyOf(CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_COULDNT_CONNECT)},
      {Listening::kReset, true, AnyOf(CURLE_SSL_CONNECT_ERROR, CURLE_COULDNT_CONNECT)},
  };
  for (const auto& [listening, https, code] : cases) {
    SCOPED_TRACE((https ? "https " : "http ") + std::to_string(static_cast<int>(listening)));
    Server server = https ? HttpsServer("it").At("::1") : HttpServer("it").At("127.8.7.6");
    const Lab lab({server.Listens(listening).On("/", Answer("never"))});
    const bool shakes_hands = https && listening == Listening::kSilent;
    long limit_ms = code.Matches(CURLE_OPERATION_TIMEDOUT) ? kShortMs : kLongMs;
    Fetched fetched = Fetch(lab.Url("it", "/"), limit_ms);
    // A busy machine may need longer for the handshake.
    while (shakes_hands && !fetched.handshake_done && limit_ms < kLongMs) {
      limit_ms *= 2;
      fetched = Fetch(lab.Url("it", "/"), limit_ms);
    }
    EXPECT_THAT(fetched.code, code);
    EXPECT_EQ(fetched.handshake_done, shakes_hands);
    const bool accepts = listening != Listening::kRefuse && listening != Listening::kNeverConnect;
    EXPECT_TRUE(lab.journal().WaitForAccepted("it", accepts ? 1 : 0, kLimit));
    EXPECT_TRUE(lab.journal().Requests().empty());
    if (listening == Listening::kNeverConnect) {
      // The accept queue stays full, however many clients give up.
      EXPECT_EQ(Fetch(lab.Url("it"), kShortMs).code, CURLE_OPERATION_TIMEDOUT);
    }
  }
}

TEST(LabTest, BadCertificatesFailOnlyIfChecked) {
  const Lab lab({HttpsServer("good"), HttpsServer("six").At("::1"),
                 HttpsServer("wrong", Certificate::kWrongName),
                 HttpsServer("old", Certificate::kExpired)});
  for (const auto& [name, code] : {std::pair("good", CURLE_OK),
                                   {"six", CURLE_OK},
                                   {"wrong", CURLE_PEER_FAILED_VERIFICATION},
                                   {"old", CURLE_PEER_FAILED_VERIFICATION}}) {
    EXPECT_EQ(Fetch(lab.Url(name), 10000, lab.CertificatePem(name)).code, code) << name;
    EXPECT_EQ(Fetch(lab.Url(name)).code, CURLE_OK) << name;
  }
}

TEST(LabTest, OnePortServesSeveralAddresses) {
  const Lab lab({HttpServer("dead").Listens(Listening::kRefuse),
                 HttpServer("live").At("127.0.0.2").OnPortOf("dead"),
                 HttpServer("dead6").At("::1").OnPortOf("dead").Listens(Listening::kRefuse)});
  EXPECT_EQ(lab.Url("live"), "http://127.0.0.2:" + std::to_string(lab.Port("dead")));
  EXPECT_EQ(Fetch(lab.Url("live")).code, CURLE_OK);
  EXPECT_EQ(Fetch(lab.Url("dead")).code, CURLE_COULDNT_CONNECT);
  EXPECT_EQ(Fetch(lab.Url("dead6")).code, CURLE_COULDNT_CONNECT);
  EXPECT_EQ(lab.journal().Requests().size(), 1u);
}

TEST(LabTest, StoppedServerResumesOnItsPort) {
  Lab lab({HttpServer("it"), HttpServer("two").Listens(Listening::kNeverConnect)});
  const std::string url = lab.Url("it");
  RawClient client(lab);
  ASSERT_TRUE(lab.journal().WaitForAccepted("it", 1, kLimit));
  lab.StopListening("it");
  EXPECT_EQ(client.ReadAll(), "<reset>");
  EXPECT_EQ(Fetch(url).code, CURLE_COULDNT_CONNECT);
  lab.ResumeListening("it");
  lab.ResumeListening("it");  // the second does nothing
  EXPECT_EQ(Fetch(url).code, CURLE_OK);
  lab.StopListeningAll();
  EXPECT_EQ(Fetch(lab.Url("two")).code, CURLE_COULDNT_CONNECT);
  lab.ResumeListening("two");
  EXPECT_EQ(Fetch(lab.Url("two"), 200).code, CURLE_OPERATION_TIMEDOUT);
}

// Without a descriptor to accept with, the listener stays readable: waiting for it would spin.
// Not under UBSan (built together with ASan), which opens a pipe to check a pointer and reports an
// error if it can't.
#ifndef STURDY_UNDER_ASAN
TEST(LabTest, WithoutDescriptorsItNeitherSpinsNorGivesUp) {
  const Lab lab({HttpServer("it")});
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  boost::asio::io_context io;
  tcp::socket client(io, tcp::v4());
  rlimit none_left = before;
  none_left.rlim_cur = static_cast<rlim_t>(client.native_handle()) + 1;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none_left), 0);
  client.connect({boost::asio::ip::address_v4::loopback(), static_cast<uint16_t>(lab.Port("it"))});
  const std::clock_t begin = std::clock();
  EXPECT_FALSE(lab.journal().WaitForAccepted("it", 1, Lab::Limit(300)));
  const std::clock_t busy = std::clock() - begin;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_LT(busy, CLOCKS_PER_SEC / 20);
  EXPECT_TRUE(lab.journal().WaitForAccepted("it", 1, kLimit));
}
#endif

auto CountDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

// If the destructor waited for a connection, the test would time out.
TEST(LabTest, DestructorReturnsWhateverConnectionsDo) {
  constexpr int kHourMs = 3600000;
  const auto before = CountDescriptors();
  {
    // Outlive the lab, so their connections are open in its destructor.
    std::vector<std::unique_ptr<RawClient>> clients;
    const Lab lab({HttpServer("it")
                       .On("/silent", Silent())
                       .On("/endless", Endless())
                       .On("/held", Answer("x").HeldAt("never"))
                       .On("/late", Answer("x").Delayed(kHourMs))
                       .On("/drip", Answer("x").HeadDripped(kHourMs)),
                   HttpsServer("tls"), HttpServer("deaf").Listens(Listening::kNeverConnect)});
    for (const char* path : {"silent", "endless", "held", "late", "drip"}) {
      clients.push_back(std::make_unique<RawClient>(lab));
      clients.back()->Send("GET /" + std::string(path) + " HTTP/1.1\r\n\r\n");
    }
    clients.push_back(std::make_unique<RawClient>(lab));
    clients.back()->Send("GET /half");
    clients.push_back(std::make_unique<RawClient>(lab, "tls"));
    ASSERT_TRUE(lab.journal().WaitForRequests(5, kLimit));
    ASSERT_TRUE(lab.journal().WaitForAccepted("tls", 1, kLimit));
  }
  EXPECT_EQ(CountDescriptors(), before);
}

}  // namespace
}  // namespace lab
