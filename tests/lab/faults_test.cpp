#include <curl/curl.h>
#include <gmock/gmock.h>

#include <string>

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

}  // namespace
}  // namespace lab
