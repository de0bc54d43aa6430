#include "network/win_http.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <tuple>

#include "lab/lab.h"
#include "network/http_interface_error.h"
#include "tests/support/sanitizers.h"

namespace KRBASE::network {
namespace {

using lab::Answer;
using lab::HttpServer;
using lab::HttpsServer;
using lab::Lab;
using lab::Redirect;

// Error, status, body and the word of the cause.
using Outcome = std::tuple<int32_t, int32_t, std::string, std::string_view>;

// The default of 100 ms to receive is too little on a loaded machine.
struct PatientHttp : CWinHttp {
  PatientHttp() { CWinHttp::SetTimeOut(5000, 5000, 5000); }
};

Outcome Get(const std::string& url) {
  PatientHttp http;
  const std::string body = http.Request(url, 0, "", "");
  EXPECT_EQ(http.GetBodySize(), static_cast<int32_t>(body.size()));
  return {http.GetErrorCode(), http.GetStatusCode(), body,
          http.GetFailure() ? WordOf(http.GetFailure()->cause) : ""};
}

TEST(CWinHttp, SendsExactlyTheseBytes) {
  const std::string accept = "Accept: */*\r\nAccept-Language: zh-CN,zh;q=0.9\r\n";
  const std::string keep = "Connection: Keep-Alive\r\n";
  const std::string agent =
      "User-Agent: Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like "
      "Gecko) Chrome/80.0.4044.92 Safari/537.36\r\n";
  const std::string start = "/p?k=a%20b HTTP/1.1\r\nHost: ";
  const Lab lab({HttpServer("it").On("/p", Answer("fine"))});
  const auto sent = [&](const std::vector<std::pair<std::string, std::string>>& headers,
                        int32_t method, const std::string& extra, const std::string& data) {
    PatientHttp http;
    for (const auto& [name, value] : headers) {
      http.AddHeader(name, value);
    }
    EXPECT_EQ(http.Request(lab.Url("it", "/p?k=a b"), method, extra, data), "fine");
    return lab.journal().Requests().back().raw_head + lab.journal().Requests().back().body;
  };
  setenv("http_proxy", "http://127.0.0.1:1", 1);  // must be ignored
  EXPECT_EQ(sent({}, 0, "X-Extra: 1\r\n", ""), "GET " + start + lab.HostPort("it") + "\r\n" +
                                                   accept + keep + agent + "X-Extra: 1\r\n\r\n");
  unsetenv("http_proxy");
  // Keeps the first value of a name, sends its last spelling, and ends the body at a zero byte.
  EXPECT_EQ(sent({{"x-last", "2"},
                  {"Host", "b.example"},
                  {"Content-Type", " a/b"},
                  {"sdktype ", "x"},
                  {"User-Agent", "mine"},
                  {"User-Agent", "other"},
                  {"Empty", ""},
                  {"", "nameless"},
                  {"Bad", "a\r\nIn: 1"},
                  {"Bad\n", "1"},
                  {"X-Last", "1"}},
                 1, "", std::string("[1]\0[2]", 7)),
            "POST " + start + "b.example\r\n" + accept + keep +
                "Content-Type:  a/b\r\nUser-Agent: mine\r\nsdktype: x\r\nx-last: 2\r\n"
                "Content-Length: 3\r\n\r\n[1]");
  const std::string extra =
      "host: h\r\nName \t: kept \r\n folded: 1\r\naccept: text/*\r\nno colon\r\n: nameless\r\n"
      "Content-Length: 99\r\ntransfer-encoding: chunked\r\nEXPECT: 100-continue\r\nLone: a\rb\r\n"
      "Too: a\nb\r\nNul: a";
  EXPECT_EQ(sent({{"Blank", "  "}}, 5, extra + '\0' + "b\r\nTime: 1:2:3", ""),
            "POST " + start + "h\r\nAccept-Language: zh-CN,zh;q=0.9\r\nBlank:\r\n" + keep + agent +
                "Name: kept \r\nfolded: 1\r\naccept: text/*\r\nTime: 1:2:3\r\n"
                "Content-Length: 0\r\n\r\n");
  const std::string big(700000, 'x');
  EXPECT_EQ(sent({{"Host", "h"}}, 1, "", big), "POST " + start + "h\r\n" + accept + keep + agent +
                                                   "Content-Length: 700000\r\n\r\n" + big);
}

TEST(CWinHttp, ReturnsTheFinalHeadUnchanged) {
  const Lab lab({HttpServer("it").On(
      "/",
      lab::Garbage("HTTP/1.1 100 Continue\r\nX: early\r\n\r\n"
                   "HTTP/1.1 103 Early Hints\r\n\r\n"
                   "HTTP/1.1 299 All: fine\r\nDate: 1:2:3\r\nX:  two blanks\r\n"
                   "Transfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\nTrailer: late\r\n\r\n"))});
  PatientHttp http;
  EXPECT_EQ(http.Request(lab.Url("it", "/"), 0, "", ""), "ok");
  EXPECT_EQ(http.GetStatusCode(), 299);
  EXPECT_EQ(http.GetHeaderText(),
            "HTTP/1.1 299 All: fine\r\nDate: 1:2:3\r\nX:  two blanks\r\n"
            "Transfer-Encoding: chunked\r\n\r\n");
  // A failed transfer clears the results of the one before.
  EXPECT_EQ(http.Request("http://", 0, "", ""), "");
  EXPECT_EQ(http.GetStatusCode(), 0);
  EXPECT_EQ(http.GetHeaderText(), "");
}

TEST(CWinHttp, AcceptsGoodAnswersAndRefusesBadOnes) {
  const std::string line = "X: " + std::string(40000, 'x') + "\r\n";
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string zipped_transfer =
      "HTTP/1.1 200 OK\r\ntransfer-encoding: gzip, chunked\r\n\r\n0\r\n\r\n";
  const std::string big(1048576, 'b');
  const std::pair<lab::Behaviour, Outcome> kCases[] = {
      {Answer(std::string("a\0b", 3)), {0, 200, std::string("a\0b", 3), ""}},
      {Answer("abc").Framed(lab::Framing::kUntilClose), {0, 200, "abc", ""}},
      {Answer("no zip").Field("Content-Encoding", "gzip"), {0, 200, "no zip", ""}},
      {lab::Garbage(zipped_transfer), {kHttpOpenFailed, 0, "", "malformed"}},
      {Answer(big), {0, 200, big, ""}},
      {Answer(big + "b"), {kHttpReadFailed, 200, "", "too_large"}},
      {Answer("abcdef").Truncated(2), {kHttpReadFailed, 200, "", "cut_short"}},
      {lab::Garbage(ok + "Content-Length: 9\r\n\r\n"), {kHttpQueryFailed, 200, "", "cut_short"}},
      {lab::Garbage(ok + "X: 1\r\n"), {kHttpOpenFailed, 0, "", "cut_short"}},
      {lab::Garbage(), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::CloseEarly(), {kHttpOpenFailed, 0, "", "reset"}},
      {lab::Reset(), {kHttpOpenFailed, 0, "", "reset"}},
      {lab::Garbage("HTTP/1.1 2000 OK\r\n\r\n"), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::Garbage("HtTP/1.1 500 No\r\n\r\n200 OK"), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::Garbage("HTTP/200\r\n\r\nbody"), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::Garbage(ok + line + line + "\r\n"), {kHttpOpenFailed, 0, "", "too_large"}},
      {lab::Garbage(ok + big), {kHttpOpenFailed, 0, "", "too_large"}},
      {Answer(302, "stay"), {0, 302, "stay", ""}},
      {Redirect("file:///etc/passwd"), {kHttpOpenFailed, 0, "", "bad_url"}},
  };
  for (const auto& [behaviour, expected] : kCases) {
    const Lab lab({HttpServer("http").On("/", behaviour), HttpsServer("https").On("/", behaviour)});
    for (const char* server : {"http", "https"}) {
      EXPECT_EQ(Get(lab.Url(server, "/")), expected) << server;
      EXPECT_EQ(lab.journal().RequestsOf(server).size(), 1U);  // no retry
    }
  }
}

TEST(CWinHttp, ReportsWhereATransferFailed) {
  using lab::Listening;
  const Lab lab({HttpServer("refuses").Listens(Listening::kRefuse),
                 HttpServer("resets").Listens(Listening::kReset),
                 HttpServer("chunks").On("/", lab::Garbage("HTTP/1.1 200 OK\r\nTransfer-Encoding: "
                                                           "chunked\r\n\r\nno length\r\n")),
                 HttpsServer("closes").Listens(Listening::kClose),
                 HttpsServer("resets TLS").Listens(Listening::kReset)});
  const std::tuple<std::string, int32_t, std::string_view> kCases[] = {
      {std::string("http://a\0b/", 11), kHttpNameNotResolved, "name_not_resolved"},
      {"http://" + std::string(260, 'a'), kHttpConnectFailed, "bad_url"},
      {"http://a/" + std::string(1299, 'a'), kHttpConnectFailed, "bad_url"},
      {lab.Url("refuses", "/"), kHttpSendFailed, "refused"},
      {lab.Url("closes", "/"), kHttpSendFailed, "tls_failed"},
      {lab.Url("resets TLS", "/"), kHttpSendFailed, "tls_failed"},
  };
  for (const auto& [url, error, cause] : kCases) {
    EXPECT_EQ(Get(url), (Outcome{error, 0, "", cause})) << url;
  }
  EXPECT_EQ(std::get<3>(Get(lab.Url("resets", "/"))), "reset");  // in any step
  EXPECT_EQ(std::get<3>(Get(lab.Url("chunks", "/"))), "malformed");
  if (!kSanitized) {  // the sanitizers' own checks take a descriptor now and then
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(std::get<3>(Get(lab.Url("refuses", "/"))), "out_of_memory");
    setrlimit(RLIMIT_NOFILE, &limit);
  }
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

TEST(CWinHttpRedirect, SendsTheTargetsOwnHost) {
  for (const int status : {301, 302, 303, 307, 308}) {
    const std::string redirect = "HTTP/1.1 " + std::to_string(status) +
                                 " X\r\nlocation:  ${url:b}/next?x \t\r\nLocation: /\r\n\r\n";
    const Lab lab({HttpServer("a").On("/", lab::Garbage(redirect)),
                   HttpsServer("b").On("/next", Answer("there"))});
    PatientHttp http;
    http.AddHeader("host", "a.example");
    http.AddHeader("content-type", "text/plain");
    EXPECT_EQ(http.Request(lab.Url("a", "/"), 1, "", "data"), "there");
    const std::vector<lab::Request> requests = lab.journal().Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(*requests[0].Header("Host"), "a.example");
    EXPECT_EQ(*requests[1].Header("Host"), lab.HostPort("b"));
    const bool is_post = status > 303;
    EXPECT_EQ(requests[1].method, is_post ? "POST" : "GET") << status;
    EXPECT_EQ(requests[1].body, is_post ? "data" : "");
    EXPECT_EQ(requests[1].Header("Content-Type") != nullptr, is_post);
    EXPECT_EQ(http.GetHeaderText().find("ocation"), std::string::npos);
  }
}

TEST(CWinHttpRedirect, IsBoundedAndNeverLeavesTls) {
  lab::Server ten = HttpServer("ten");
  ten.routes.push_back({"/", std::vector<lab::Behaviour>(10, Redirect("/"))});
  ten.routes.back().behaviours.push_back(Answer("tenth"));
  const Lab lab({ten, HttpServer("loop").On("/", lab::RedirectLoop()),
                 HttpServer("plain").On("/", Answer("plain")),
                 HttpsServer("secure").On("/", Redirect("${url:plain}/", 307))});
  EXPECT_EQ(Get(lab.Url("loop", "/")), (Outcome{kHttpOpenFailed, 0, "", "too_many_redirects"}));
  EXPECT_EQ(lab.journal().RequestsOf("loop").size(), 11U);
  EXPECT_EQ(Get(lab.Url("ten", "/")), (Outcome{0, 200, "tenth", ""}));
  EXPECT_EQ(std::get<1>(Get(lab.Url("secure", "/"))), 307);
  EXPECT_EQ(lab.journal().RequestsOf("plain").size(), 0U);
}

}  // namespace
}  // namespace KRBASE::network
