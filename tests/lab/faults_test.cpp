#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "lab/lab.h"
#include "tests/lab/client.h"

namespace lab {
namespace {

using namespace std::chrono_literals;
using testing::AnyOf;

constexpr auto kLimit = 10s;
constexpr long kPatient = 10000;

Server MakeServer(const std::string& name, bool https, const std::string& address = "127.0.0.1") {
  return (https ? HttpsServer(name) : HttpServer(name)).At(address);
}

struct Fault {
  const char* name;
  Behaviour behaviour;
  long limit_ms;
  long most_redirects;
  CURLcode code;
  long status;
  std::string body;
};

void PrintTo(const Fault& fault, std::ostream* out) {
  *out << fault.name;
}

class FaultTest : public testing::TestWithParam<std::tuple<Fault, bool>> {};

TEST_P(FaultTest, IsWhatAClientSees) {
  const auto& [fault, https] = GetParam();
  const Lab lab({MakeServer("it", https).On("/x", fault.behaviour)});
  const Fetched fetched = Fetch(lab.Url("it", "/x"), {fault.limit_ms, fault.most_redirects});
  EXPECT_EQ(fetched.code, fault.code) << curl_easy_strerror(fetched.code);
  EXPECT_EQ(fetched.status, fault.status);
  if (fault.code != CURLE_WRITE_ERROR) {
    EXPECT_EQ(fetched.body, fault.body);
  }
  // Who gave up is seen as gone, also in the middle of a silence or of an answer without end.
  EXPECT_TRUE(lab.WaitForOpen("it", 0, kLimit));
}

const std::string kNul("a\0b", 3);

const Fault kFaults[] = {
    {"status", Answer(500, "no"), kPatient, 0, CURLE_OK, 500, "no"},
    {"chunked", Answer(kNul).Framed(Framing::kChunked).InPieces(3, 0), kPatient, 0, CURLE_OK, 200,
     kNul},
    {"delayed_past_limit", Answer("abc").Delayed(60000), 200, 0, CURLE_OPERATION_TIMEDOUT, 0, ""},
    {"head_dripped", Answer("abc").HeadDripped(1), kPatient, 0, CURLE_OK, 200, "abc"},
    {"head_dripped_past_limit", Answer("abc").HeadDripped(50), 300, 0, CURLE_OPERATION_TIMEDOUT, 0,
     ""},
    {"body_dripped_past_limit", Answer("abc").InPieces(3, 60000), 1500, 0, CURLE_OPERATION_TIMEDOUT,
     200, ""},
    {"truncated_chunks", Answer("abc").Framed(Framing::kChunked).Truncated(5), kPatient, 0,
     CURLE_PARTIAL_FILE, 200, "abc"},
    {"silent", Silent(), 200, 0, CURLE_OPERATION_TIMEDOUT, 0, ""},
    {"endless", Endless(), kPatient, 0, CURLE_WRITE_ERROR, 200, ""},
    {"redirect", Redirect("/nowhere"), kPatient, 5, CURLE_OK, 404, "no such route\n"},
    {"redirect_not_followed", Redirect("${url:it}/x", 307), kPatient, 0, CURLE_OK, 307, ""},
    {"redirect_loop", RedirectLoop(), kPatient, 5, CURLE_TOO_MANY_REDIRECTS, 302, ""},
};

INSTANTIATE_TEST_SUITE_P(Lab, FaultTest,
                         testing::Combine(testing::ValuesIn(kFaults), testing::Bool()),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).name) +
                                  (std::get<1>(test.param) ? "_https" : "_http");
                         });

class ListeningTest : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Lab, ListeningTest, testing::Values("127.0.0.1", "127.8.7.6", "::1"),
                         [](const auto& test) {
                           return std::string(test.param)[0] == ':'        ? "v6"
                                  : test.param == std::string("127.0.0.1") ? "v4"
                                                                           : "v4_other";
                         });

TEST_P(ListeningTest, FaultsBelowHttp) {
  const auto with = [](const char* name, bool https, Listening listening) {
    return MakeServer(name, https, GetParam()).Listens(listening).On("/", Answer("never"));
  };
  const Lab lab(
      {with("refuse", false, Listening::kRefuse),
       with("never_connect", false, Listening::kNeverConnect),
       with("no_handshake", true, Listening::kNoHandshake),
       with("silent", false, Listening::kSilent), with("silent_https", true, Listening::kSilent),
       with("close", false, Listening::kClose), with("close_https", true, Listening::kClose),
       with("reset", false, Listening::kReset), with("reset_https", true, Listening::kReset)});
  const FetchOptions brief{300};
  EXPECT_EQ(Fetch(lab.Url("refuse", "/")).code, CURLE_COULDNT_CONNECT);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Fetch(lab.Url("never_connect", "/"), brief).code, CURLE_OPERATION_TIMEDOUT);
  }
  EXPECT_EQ(Fetch(lab.Url("no_handshake", "/"), brief).code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_EQ(lab.Accepted("no_handshake"), 1);
  EXPECT_EQ(Fetch(lab.Url("silent", "/"), brief).code, CURLE_OPERATION_TIMEDOUT);
  const Fetched silent = Fetch(lab.Url("silent_https", "/"), {1500});
  EXPECT_EQ(silent.code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_TRUE(silent.handshake_done);
  EXPECT_EQ(Fetch(lab.Url("close", "/")).code, CURLE_GOT_NOTHING);
  EXPECT_EQ(Fetch(lab.Url("close_https", "/")).code, CURLE_SSL_CONNECT_ERROR);
  EXPECT_THAT(Fetch(lab.Url("reset", "/")).code,
              AnyOf(CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_COULDNT_CONNECT));
  EXPECT_THAT(Fetch(lab.Url("reset_https", "/")).code,
              AnyOf(CURLE_SSL_CONNECT_ERROR, CURLE_COULDNT_CONNECT));
  EXPECT_TRUE(lab.Requests().empty());
}

TEST(LabTest, CertificatesAreGoodOrBadToWhoChecksThem) {
  const Lab lab({HttpsServer("good").On("/", Answer("x")),
                 HttpsServer("six").At("::1").On("/", Answer("x")),
                 HttpsServer("wrong", Certificate::kWrongName).On("/", Answer("x")),
                 HttpsServer("old", Certificate::kExpired).On("/", Answer("x"))});
  for (const char* name : {"good", "six", "wrong", "old"}) {
    FetchOptions checking;
    checking.trusted_pem = lab.CertificatePem(name);
    const bool good = std::string(name) == "good" || std::string(name) == "six";
    EXPECT_EQ(Fetch(lab.Url(name, "/"), checking).code,
              good ? CURLE_OK : CURLE_PEER_FAILED_VERIFICATION)
        << name;
    EXPECT_EQ(Fetch(lab.Url(name, "/")).code, CURLE_OK) << name;
  }
}

TEST(LabTest, StopsAndComesBackOnTheSamePort) {
  Lab lab({HttpServer("one").On("/", Silent()).On("/ok", Answer("x")),
           HttpServer("two").Listens(Listening::kNeverConnect)});
  const std::string url = lab.Url("one", "/ok");
  EXPECT_EQ(Fetch(url).body, "x");
  RawClient client(lab.Port("one"));
  client.Send("GET / HTTP/1.1\r\n\r\n");
  ASSERT_TRUE(lab.WaitForRequests(2, kLimit));
  lab.StopListening("one");
  EXPECT_EQ(client.ReadAll(), "<reset>");
  EXPECT_EQ(Fetch(url).code, CURLE_COULDNT_CONNECT);
  lab.ResumeListening("one");
  lab.ResumeListening("one");
  EXPECT_EQ(lab.Url("one", "/ok"), url);
  EXPECT_EQ(Fetch(url).body, "x");
  lab.StopListeningAll();
  EXPECT_EQ(Fetch(url).code, CURLE_COULDNT_CONNECT);
  EXPECT_EQ(Fetch(lab.Url("two")).code, CURLE_COULDNT_CONNECT);
  lab.ResumeListening("two");
  EXPECT_EQ(Fetch(lab.Url("two"), {200}).code, CURLE_OPERATION_TIMEDOUT);
}

size_t CountDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

TEST(LabTest, EndsPromptlyWhateverItsConnectionsDo) {
  const size_t before = CountDescriptors();
  auto lab = std::make_unique<Lab>(
      Scenario({HttpServer("it")
                    .On("/silent", Silent())
                    .On("/endless", Endless())
                    .On("/held", Answer("x").HeldAt("never"))
                    .On("/late", Answer("x").Delayed(60000))
                    .On("/drip", Answer("x").HeadDripped(60000)),
                HttpsServer("tls"), HttpServer("deaf").Listens(Listening::kNeverConnect)}));
  std::vector<std::unique_ptr<RawClient>> clients;
  for (const char* path : {"/silent", "/endless", "/held", "/late", "/drip", "/half"}) {
    clients.push_back(std::make_unique<RawClient>(lab->Port("it")));
    const std::string end = path == std::string("/half") ? "" : "\r\n\r\n";
    clients.back()->Send("GET " + std::string(path) + " HTTP/1.1" + end);
  }
  clients.push_back(std::make_unique<RawClient>(lab->Port("tls")));
  ASSERT_TRUE(lab->WaitForRequests(5, kLimit));
  ASSERT_TRUE(lab->WaitForAccepted("tls", 1, kLimit));
  const auto begin = std::chrono::steady_clock::now();
  lab.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
  clients.clear();
  EXPECT_EQ(CountDescriptors(), before);
}

}  // namespace
}  // namespace lab
