#include <curl/curl.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/lab/client.h"

namespace lab {
namespace {

using testing::AnyOf;

struct Fetched {
  CURLcode code = CURLE_OK;
  bool handshake_done = false;
};

size_t DropBytes(char*, size_t size, size_t count, void*) {
  return size * count;
}

// If there is one to trust, the certificate is checked against it.
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

TEST(LabTest, FaultsBelowHttp) {
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
  for (const char* address : {"127.0.0.1", "127.8.7.6", "::1"}) {
    for (const auto& [listening, https, code] : cases) {
      SCOPED_TRACE(address + std::string(https ? " https " : " http ") +
                   std::to_string(static_cast<int>(listening)));
      const Server server = https ? HttpsServer("it") : HttpServer("it");
      const Lab lab({Server(server).At(address).Listens(listening).On("/", Answer("never"))});
      const bool shakes_hands = https && listening == Listening::kSilent;
      for (int i = 0; i < (listening == Listening::kNeverConnect ? 3 : 1); ++i) {
        const Fetched fetched = Fetch(lab.Url("it", "/"), shakes_hands ? 1500 : 300);
        EXPECT_THAT(fetched.code, code);
        EXPECT_EQ(fetched.handshake_done, shakes_hands);
      }
      EXPECT_TRUE(listening != Listening::kNoHandshake || lab.Accepted("it") == 1);
      EXPECT_TRUE(lab.Requests().empty());
    }
  }
}

TEST(LabTest, CertificatesAreGoodOrBadToWhoChecksThem) {
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

TEST(LabTest, OnePortOnSeveralAddresses) {
  for (int round = 0; round < 20; ++round) {
    const Lab lab({HttpServer("dead").Listens(Listening::kRefuse),
                   HttpServer("live").At("127.0.0.2").OnPortOf("dead"),
                   HttpsServer("tls").At("127.0.0.3").OnPortOf("dead"),
                   HttpServer("dead6").At("::1").OnPortOf("dead").Listens(Listening::kRefuse)});
    EXPECT_EQ(lab.Url("live"), "http://127.0.0.2:" + std::to_string(lab.Port("dead")));
    for (const char* name : {"dead", "live", "tls", "dead6"}) {
      const bool dead = std::string(name).starts_with("dead");
      EXPECT_EQ(Fetch(lab.Url(name)).code, dead ? CURLE_COULDNT_CONNECT : CURLE_OK) << name;
      EXPECT_EQ(lab.RequestsOf(name).size(), dead ? 0u : 1u) << name;
    }
  }
}

TEST(LabTest, StopsAndComesBackOnTheSamePort) {
  Lab lab({HttpServer("it"), HttpServer("two").Listens(Listening::kNeverConnect)});
  const std::string url = lab.Url("it");
  RawClient client(lab);
  ASSERT_TRUE(lab.WaitForAccepted("it", 1, kLimit));
  lab.StopListening("it");
  EXPECT_EQ(client.ReadAll(), "<reset>");
  EXPECT_EQ(Fetch(url).code, CURLE_COULDNT_CONNECT);
  lab.ResumeListening("it");
  lab.ResumeListening("it");
  EXPECT_EQ(lab.Url("it"), url);
  EXPECT_EQ(Fetch(url).code, CURLE_OK);
  lab.StopListeningAll();
  EXPECT_EQ(Fetch(url).code, CURLE_COULDNT_CONNECT);
  EXPECT_EQ(Fetch(lab.Url("two")).code, CURLE_COULDNT_CONNECT);
  lab.ResumeListening("two");
  EXPECT_EQ(Fetch(lab.Url("two"), 200).code, CURLE_OPERATION_TIMEDOUT);
}

auto CountDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

// An end that waits for one of them outlasts the test's limit.
TEST(LabTest, EndsWhateverItsConnectionsDo) {
  constexpr int kHourMs = 3600000;
  const auto before = CountDescriptors();
  {
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
    EXPECT_EQ(Fetch(lab.Url("it", "/late"), 200).code, CURLE_OPERATION_TIMEDOUT);
    ASSERT_TRUE(lab.WaitForRequests(6, kLimit));
    ASSERT_TRUE(lab.WaitForAccepted("tls", 1, kLimit));
  }
  EXPECT_EQ(CountDescriptors(), before);
}

}  // namespace
}  // namespace lab
