#include "network/win_http.h"

#include <gtest/gtest.h>

#include "lab/lab.h"
#include "network/http_interface_error.h"
#include "tests/network/outcome.h"

namespace KRBASE::network {
namespace {

using lab::Answer;
using lab::HttpServer;
using lab::HttpsServer;
using lab::Lab;
using lab::Redirect;

TEST(CWinHttp, AcceptsGoodAnswersAndRefusesBadOnes) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string big(1048576, 'b');
  const std::pair<lab::Behaviour, Outcome> kCases[] = {
      {Answer(std::string("a\0b", 3)), {0, 200, std::string("a\0b", 3), ""}},
      {Answer("abc").Framed(lab::Framing::kUntilClose), {0, 200, "abc", ""}},
      {Answer("no zip").Field("Content-Encoding", "gzip"), {0, 200, "no zip", ""}},
      {Answer(big), {0, 200, big, ""}},
      {Answer(big + "b"), {kHttpReadFailed, 200, "", "too_large"}},
      {lab::Garbage(ok +
                    "Content-Length: 9\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n\r\n"),
       {0, 200, "ok", ""}},
      {lab::Garbage(ok + "transfer-encoding: gzip, chunked\r\n\r\n0\r\n\r\n"),
       {kHttpOpenFailed, 0, "", "malformed"}},
      {Answer(302, "stay"), {0, 302, "stay", ""}},
      {Redirect("file:///etc/passwd"), {kHttpOpenFailed, 0, "", "bad_url"}},
      {Answer("abcdef").Truncated(2), {kHttpReadFailed, 200, "", "cut_short"}},
      {lab::Garbage(ok + "Content-Length: 9\r\n\r\n"), {kHttpQueryFailed, 200, "", "cut_short"}},
      {lab::Garbage(), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::CloseEarly(), {kHttpOpenFailed, 0, "", "reset"}},
      {lab::Reset(), {kHttpOpenFailed, 0, "", "reset"}},
      {lab::Garbage("HTTP/1.1 2000 OK\r\n\r\n"), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::Garbage("HTTP/1.1 099 Low\r\n\r\n"), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::Garbage("HTTP/200\r\n\r\nbody"), {kHttpOpenFailed, 0, "", "malformed"}},
  };
  for (const auto& [behaviour, expected] : kCases) {
    ExpectOutcome(behaviour, expected);
  }
}

TEST(CWinHttp, LeavesOutWhatWouldBreakTheHead) {
  using Headers = std::vector<std::pair<std::string, std::string>>;
  const Lab lab({HttpServer("it").On("/", Answer("fine"))});
  PatientHttp http;
  for (const auto& [name, value] : Headers{{"sdktype ", "1"},
                                           {"blank", " "},
                                           {"bad", "a\r\nin: 1"},
                                           {"x-last", "3"},
                                           {"X-Last", "4"}}) {
    http.AddHeader(name, value);
  }
  EXPECT_EQ(http.Request(lab.Url("it", "/"), 0, "extra: 5\r\n", ""), "fine");
  const lab::Request request = lab.journal().Requests().back();
  for (const auto& [name, value] : Headers{{"sdktype", "1"}, {"x-last", "3"}, {"extra", "5"}}) {
    ASSERT_NE(request.Header(name), nullptr) << request.raw_head;
    EXPECT_EQ(*request.Header(name), value);
  }
  EXPECT_EQ(request.Header("in"), nullptr);
}

TEST(CWinHttp, ReportsWhereATransferFailed) {
  using lab::Listening;
  const Lab lab({HttpServer("refuses").Listens(Listening::kRefuse),
                 HttpServer("resets").Listens(Listening::kReset),
                 HttpServer("closes").Listens(Listening::kClose)});
  const std::tuple<std::string, int32_t, std::string_view> kCases[] = {
      {std::string("http://a\0b/", 11), kHttpNameNotResolved, "name_not_resolved"},
      {"http://" + std::string(260, 'a'), kHttpConnectFailed, "bad_url"},
      {"http://a/" + std::string(1299, 'a'), kHttpConnectFailed, "bad_url"},
      {lab.Url("refuses", "/"), kHttpSendFailed, "refused"},
      {"https://" + lab.HostPort("closes") + "/", kHttpSendFailed, "tls_failed"},
      {"https://" + lab.HostPort("resets") + "/", kHttpSendFailed, "tls_failed"},
  };
  for (const auto& [url, error, cause] : kCases) {
    EXPECT_EQ(Get(url), (Outcome{error, 0, "", cause})) << url;
  }
  EXPECT_EQ(std::get<3>(Get(lab.Url("resets", "/"))), "reset");  // in any step
}

TEST(CWinHttp, AcceptsAnyCertificate) {
  using lab::Certificate;
  const Lab lab({HttpsServer("v4").On("/", Answer("v4")),
                 HttpsServer("v6").At("::1").On("/", Answer("v6")),
                 HttpsServer("other name", Certificate::kWrongName).On("/", Answer("other name")),
                 HttpsServer("expired", Certificate::kExpired).On("/", Answer("expired"))});
  for (const char* server : {"v4", "v6", "other name", "expired"}) {
    EXPECT_EQ(Get(lab.Url(server, "/")), (Outcome{0, 200, server, ""}));
    EXPECT_EQ(lab.journal().Requests().back().sni, "");
  }
  // Most systems give localhost the address ::1 too, where no server listens.
  EXPECT_EQ(Get("https://localhost:" + std::to_string(lab.Port("v4")) + "/"),
            (Outcome{0, 200, "v4", ""}));
  EXPECT_EQ(lab.journal().Requests().back().sni, "localhost");
}

void ExpectRedirectedPost(int status, bool is_post) {
  SCOPED_TRACE(status);
  const std::string redirect = "HTTP/1.1 " + std::to_string(status) +
                               " X\r\nlocation: ${url:b}/next?x\r\nContent-Length: 0\r\n\r\n";
  const Lab lab({HttpServer("a").On("/", lab::Garbage(redirect)),
                 HttpServer("b").On("/next", Answer("there"))});
  PatientHttp http;
  http.AddHeader("host", "a.example");
  http.AddHeader("content-type", "text/plain");
  EXPECT_EQ(http.Request(lab.Url("a", "/"), 1, "", "data"), "there");
  const std::vector<lab::Request> requests = lab.journal().Requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(*requests[0].Header("Host"), "a.example");
  EXPECT_EQ(*requests[0].Header("Connection"), "Keep-Alive");
  EXPECT_EQ(*requests[1].Header("Host"), lab.HostPort("b"));
  EXPECT_EQ(requests[1].method, is_post ? "POST" : "GET");
  EXPECT_EQ(requests[1].body, is_post ? "data" : "");
  EXPECT_EQ(requests[1].Header("Content-Type") != nullptr, is_post);
  EXPECT_EQ(http.GetHeaderText().find("ocation"), std::string::npos);
}

TEST(CWinHttpRedirect, SendsTheTargetsOwnHost) {
  ExpectRedirectedPost(301, false);
  ExpectRedirectedPost(302, false);
}

TEST(CWinHttpRedirect, KeepsAPostIfTheStatusSaysSo) {
  ExpectRedirectedPost(303, false);
  ExpectRedirectedPost(307, true);
  ExpectRedirectedPost(308, true);
}

TEST(CWinHttpRedirect, TakesTheFirstLocation) {
  const Lab lab({HttpServer("plain").On("/", Answer("plain")),
                 HttpServer("twice").On("/", lab::Garbage("HTTP/1.1 301 X\r\nlocation:  "
                                                          "${url:plain}/ \t\r\nLocation: /\r\n"
                                                          "\r\n"))});
  EXPECT_EQ(Get(lab.Url("twice", "/")), (Outcome{0, 200, "plain", ""}));
}

TEST(CWinHttpRedirect, IsBounded) {
  lab::Server ten = HttpServer("ten");
  ten.routes.push_back({"/", std::vector<lab::Behaviour>(10, Redirect("/"))});
  ten.routes.back().behaviours.push_back(Answer("tenth"));
  const Lab lab({ten, HttpServer("loop").On("/", lab::RedirectLoop())});
  EXPECT_EQ(Get(lab.Url("loop", "/")), (Outcome{kHttpOpenFailed, 0, "", "too_many_redirects"}));
  EXPECT_EQ(lab.journal().RequestsOf("loop").size(), 11U);
  EXPECT_EQ(Get(lab.Url("ten", "/")), (Outcome{0, 200, "tenth", ""}));
}

TEST(CWinHttpRedirect, NeverLeavesTls) {
  const Lab lab({HttpServer("plain").On("/", Answer("plain")),
                 HttpsServer("secure").On("/", Redirect("${url:plain}/", 307))});
  EXPECT_EQ(std::get<1>(Get(lab.Url("secure", "/"))), 307);
  EXPECT_EQ(lab.journal().RequestsOf("plain").size(), 0U);
}

}  // namespace
}  // namespace KRBASE::network
