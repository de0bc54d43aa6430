#include "network/win_http.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "lab/lab.h"
#include "network/http_interface_error.h"
#include "tests/support/temp_folder.h"

namespace KRBASE::network {
namespace {

using lab::Answer;
using lab::HttpServer;
using lab::HttpsServer;
using lab::Lab;
using lab::Redirect;
using testing::ElementsAre;

constexpr size_t kMiB = 1048576;

struct Outcome {
  int32_t error = 0;
  int32_t status = 0;
  std::string body;

  bool operator==(const Outcome& other) const {
    return error == other.error && status == other.status && body == other.body;
  }
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
  *out << "error " << outcome.error << ", status " << outcome.status << ", " << outcome.body.size()
       << " bytes: " << outcome.body.substr(0, 80);
}

// The defaults leave 100 ms to receive, too little for a loaded machine.
struct PatientHttp : CWinHttp {
  PatientHttp() { CWinHttp::SetTimeOut(5000, 5000, 5000); }
};

Outcome Get(const std::string& url, int32_t method = 0, const std::string& data = "") {
  PatientHttp http;
  const std::string body = http.Request(url, method, "", data);
  EXPECT_EQ(http.GetBody(), body);
  EXPECT_EQ(http.GetBodySize(), static_cast<int32_t>(body.size()));
  return {http.GetErrorCode(), http.GetStatusCode(), body};
}

// What a request with these headers looks like to the server, its port left out.
std::string Wire(const std::vector<std::pair<std::string, std::string>>& headers, int32_t method,
                 const std::string& extra_headers, const std::string& data) {
  const Lab lab({HttpServer("it").On("/p", Answer("fine"))});
  PatientHttp http;
  for (const auto& [name, value] : headers) {
    http.AddHeader(name, value);
  }
  EXPECT_EQ(http.Request(lab.Url("it", "/p?k=a b"), method, extra_headers, data), "fine");
  std::string wire = lab.Requests().front().raw_head + lab.Requests().front().body;
  const std::string host_port = lab.HostPort("it");
  if (const size_t at = wire.find(host_port); at != std::string::npos) {
    wire.replace(at, host_port.size(), "(itself)");
  }
  return wire;
}

const std::string kDefaultAgentLine =
    "User-Agent: Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
    "Chrome/80.0.4044.92 Safari/537.36\r\n";
const std::string kDefaultLines =
    "Accept: */*\r\nAccept-Language: zh-CN,zh;q=0.9\r\nConnection: Keep-Alive\r\n";

TEST(CWinHttpWire, GetWithDefaults) {
  setenv("http_proxy", "http://127.0.0.1:1", 1);
  EXPECT_EQ(Wire({}, 0, "", ""), "GET /p?k=a%20b HTTP/1.1\r\nHost: (itself)\r\n" + kDefaultLines +
                                     kDefaultAgentLine + "\r\n");
  unsetenv("http_proxy");
}

TEST(CWinHttpWire, PostUpToAZeroByte) {
  EXPECT_EQ(Wire({{"Host", "b.example"},
                  {"Content-Type", " application/json"},
                  {"User-Agent", "mine"},
                  {"sdktype ", "x"},
                  {"Empty", ""},
                  {"Bad", "a\r\nInjected: 1"}},
                 1, "X-Extra: 1\r\n", std::string("[1]\0[2]", 7)),
            "POST /p?k=a%20b HTTP/1.1\r\nHost: b.example\r\n" + kDefaultLines +
                "Content-Type:  application/json\r\nUser-Agent: mine\r\nsdktype: x\r\n"
                "X-Extra: 1\r\nContent-Length: 3\r\n\r\n[1]");
}

TEST(CWinHttpWire, PostWithoutData) {
  EXPECT_EQ(Wire({{"Blank", "  "}, {"Expect", "100-continue"}, {"Content-Length", "7"}}, 5, "", ""),
            "POST /p?k=a%20b HTTP/1.1\r\nHost: (itself)\r\nAccept: */*\r\n"
            "Accept-Language: zh-CN,zh;q=0.9\r\nBlank:\r\nConnection: Keep-Alive\r\n" +
                kDefaultAgentLine + "Content-Length: 0\r\n\r\n");
}

TEST(CWinHttpWire, ALargeBodyArrivesWhole) {
  const std::string data(700000, 'x');
  const Lab lab({HttpServer("it").On("/p", Answer("fine"))});
  EXPECT_EQ(Get(lab.Url("it", "/p"), 1, data), (Outcome{0, 200, "fine"}));
  EXPECT_EQ(lab.Requests().front().body, data);
}

TEST(CWinHttp, ReadsTheFinalHeadAsItCame) {
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
  // A transfer that fails leaves nothing of the one before.
  EXPECT_EQ(http.Request("http://", 0, "", ""), "");
  EXPECT_EQ(http.GetStatusCode(), 0);
  EXPECT_EQ(http.GetHeaderText(), "");
}

struct AnswerCase {
  const char* name;
  lab::Behaviour behaviour;
  Outcome expected;
};

void PrintTo(const AnswerCase& answer, std::ostream* out) {
  *out << answer.name;
}

class AnswerTest : public testing::TestWithParam<std::tuple<AnswerCase, bool>> {};

TEST_P(AnswerTest, HttpAndHttps) {
  const auto& [answer, is_https] = GetParam();
  const Lab lab({(is_https ? HttpsServer("it") : HttpServer("it")).On("/", answer.behaviour)});
  EXPECT_EQ(Get(lab.Url("it", "/")), answer.expected);
  EXPECT_EQ(lab.Requests().size(), 1U);  // no retry
}

const std::string kBig(kMiB, 'b');
const AnswerCase kAnswers[] = {
    {"not_found", Answer(404, "gone"), {0, 404, "gone"}},
    {"no_content", Answer(204), {0, 204, ""}},
    {"zero_byte", Answer(std::string("a\0b", 3)), {0, 200, std::string("a\0b", 3)}},
    {"until_close", Answer("abc").Framed(lab::Framing::kUntilClose), {0, 200, "abc"}},
    {"zipped", Answer("no zip").Field("Content-Encoding", "gzip"), {0, 200, "no zip"}},
    {"zipped_transfer",
     lab::Garbage("HTTP/1.1 200 OK\r\ntransfer-encoding: gzip, chunked\r\n\r\n0\r\n\r\n"),
     {kHttpOpenFailed, 0, ""}},
    {"bound", Answer(kBig), {0, 200, kBig}},
    {"past_bound", Answer(kBig + "b"), {kHttpReadFailed, 200, ""}},
    {"past_bound_chunked",
     Answer(kBig + "b").Framed(lab::Framing::kChunked),
     {kHttpReadFailed, 200, ""}},
    {"endless", lab::Endless(), {kHttpReadFailed, 200, ""}},
    {"truncated", Answer("abcdef").Truncated(2), {kHttpReadFailed, 200, ""}},
    {"no_body",
     lab::Garbage("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n"),
     {kHttpQueryFailed, 200, ""}},
    {"garbage", lab::Garbage(), {kHttpOpenFailed, 0, ""}},
    {"close", lab::CloseEarly(), {kHttpOpenFailed, 0, ""}},
    {"reset", lab::Reset(), {kHttpOpenFailed, 0, ""}},
    {"odd_status", lab::Garbage("HTTP/1.1 2000 OK\r\n\r\n"), {kHttpOpenFailed, 0, ""}},
    {"endless_head",
     lab::Garbage("HTTP/1.1 200 OK\r\nX: " + std::string(40000, 'x') +
                  "\r\nY: " + std::string(40000, 'y') + "\r\n\r\n"),
     {kHttpOpenFailed, 0, ""}},
    {"redirect_without_location", Answer(302, "stay"), {0, 302, "stay"}},
    {"redirect_elsewhere", Redirect("file:///etc/passwd"), {kHttpOpenFailed, 0, ""}},
};

INSTANTIATE_TEST_SUITE_P(All, AnswerTest,
                         testing::Combine(testing::ValuesIn(kAnswers), testing::Bool()),
                         [](const auto& one) {
                           return std::string(std::get<0>(one.param).name) +
                                  (std::get<1>(one.param) ? "_https" : "_http");
                         });

TEST(CWinHttp, TellsWhereATransferFailed) {
  const Lab lab({HttpServer("refuses").Listens(lab::Listening::kRefuse),
                 HttpServer("resets").Listens(lab::Listening::kReset)});
  EXPECT_EQ(Get(std::string("http://a\0b/", 11)), (Outcome{kHttpNameNotResolved, 0, ""}));
  EXPECT_EQ(Get("file:///etc/passwd"), (Outcome{kHttpConnectFailed, 0, ""}));
  EXPECT_EQ(Get("http://" + std::string(260, 'a') + "/"), (Outcome{kHttpConnectFailed, 0, ""}));
  EXPECT_EQ(Get("http://localhost/" + std::string(1299, 'a')),
            (Outcome{kHttpConnectFailed, 0, ""}));
  EXPECT_EQ(Get(lab.Url("refuses", "/")), (Outcome{kHttpSendFailed, 0, ""}));
  EXPECT_EQ(Get(lab.Url("resets", "/")).status, 0);
}

TEST(CWinHttp, AnyCertificateWillDo) {
  const Lab lab({HttpsServer("self").On("/", Answer("self")),
                 HttpsServer("name", lab::Certificate::kWrongName).On("/", Answer("name")),
                 HttpsServer("date", lab::Certificate::kExpired).On("/", Answer("date"))});
  for (const char* server : {"self", "name", "date"}) {
    EXPECT_EQ(Get(lab.Url(server, "/")), (Outcome{0, 200, server}));
  }
  EXPECT_EQ(Get("https://localhost:" + std::to_string(lab.Port("self")) + "/").body, "self");
  EXPECT_EQ(lab.Requests().front().sni, "");
  EXPECT_EQ(lab.Requests().back().sni, "localhost");
}

TEST(CWinHttp, TriesAllAddressesOfAName) {
  // The name has ::1 and 127.0.0.1 on most systems; each server has one of them alone.
  const Lab lab(
      {HttpServer("v4").On("/", Answer("v4")), HttpServer("v6").At("::1").On("/", Answer("v6"))});
  EXPECT_EQ(Get("http://localhost:" + std::to_string(lab.Port("v4")) + "/").body, "v4");
  EXPECT_EQ(Get(lab.Url("v6", "/")).body, "v6");
}

TEST(CWinHttpRedirect, FollowsUnderItsOwnHost) {
  for (const auto& [status, verbs] : {std::pair(301, "POST GET"),
                                      {302, "POST GET"},
                                      {303, "POST GET"},
                                      {307, "POST POST"},
                                      {308, "POST POST"}}) {
    const Lab lab({HttpServer("a").On("/", Redirect("${url:b}/next?x", status)),
                   HttpsServer("b").On("/next", Answer("there"))});
    PatientHttp http;
    http.AddHeader("Host", "a.example");
    http.AddHeader("Content-Type", "text/plain");
    EXPECT_EQ(http.Request(lab.Url("a", "/"), 1, "", "data"), "there");
    const std::vector<lab::Request> requests = lab.Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].method + " " + requests[1].method, verbs) << status;
    EXPECT_EQ(*requests[0].Header("Host"), "a.example");
    EXPECT_EQ(*requests[1].Header("Host"), lab.HostPort("b"));
    const bool is_post = requests[1].method == "POST";
    EXPECT_EQ(requests[1].body, is_post ? "data" : "");
    EXPECT_EQ(requests[1].Header("Content-Type") != nullptr, is_post);
    EXPECT_EQ(http.GetHeaderText().find("Location"), std::string::npos);
  }
}

TEST(CWinHttpRedirect, IsBoundedAndNeverLeavesTls) {
  const Lab lab(
      {HttpServer("loop").On("/", lab::RedirectLoop()),
       HttpServer("ten").On("/", {Redirect("/"), Redirect("/"), Redirect("/"), Redirect("/"),
                                  Redirect("/"), Redirect("/"), Redirect("/"), Redirect("/"),
                                  Redirect("/"), Redirect("/"), Answer("tenth")}),
       HttpServer("plain").On("/", Answer("plain")),
       HttpsServer("secure").On("/", Redirect("${url:plain}/", 307))});
  EXPECT_EQ(Get(lab.Url("loop", "/")), (Outcome{kHttpOpenFailed, 0, ""}));
  EXPECT_EQ(lab.RequestsOf("loop").size(), 11U);
  EXPECT_EQ(Get(lab.Url("ten", "/")), (Outcome{0, 200, "tenth"}));
  EXPECT_EQ(Get(lab.Url("secure", "/")).status, 307);
  EXPECT_EQ(lab.RequestsOf("plain").size(), 0U);
}

class DownloadTest : public testing::Test {
 protected:
  const std::string kText = std::string(20000, 'd');
  Lab lab{{HttpServer("it")
               .On("/it", Answer(kText))
               .On("/empty", Answer(""))
               .On("/chunked", Answer(kText).Framed(lab::Framing::kChunked))
               .On("/gone", Answer(404, "gone"))
               .On("/cut", Answer(kText).Truncated(1))
               .On("/nothing", lab::Garbage("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n"))
               .On("/huge", lab::Garbage("HTTP/1.1 200 OK\r\nContent-Length: 8388609\r\n\r\n"))}};
  const std::vector<std::pair<const char*, HttpInterfaceError>> kFaults = {
      {"/chunked", kHttpQueryFailed},
      {"/gone", kHttpNotFound},
      {"/cut", kHttpReadFailed},
      {"/nothing", kHttpQueryFailed}};
};

TEST_F(DownloadTest, ToMemory) {
  std::unique_ptr<char[]> buffer;
  int32_t size_bytes = -1;
  for (const auto& [path, error] : kFaults) {
    PatientHttp http;
    EXPECT_FALSE(http.DownloadToMemory(lab.Url("it", path), buffer, size_bytes));
    EXPECT_EQ(http.GetErrorCode(), error) << path;
  }
  auto* http = new PatientHttp();
  EXPECT_FALSE(http->DownloadToMemory(lab.Url("it", "/huge"), buffer, size_bytes));
  EXPECT_EQ(http->GetErrorCode(), kHttpTooLarge);
  EXPECT_EQ(size_bytes, -1);
  ASSERT_TRUE(http->DownloadToMemory(lab.Url("it", "/it"), buffer, size_bytes));
  EXPECT_EQ(std::string(buffer.get(), static_cast<size_t>(size_bytes)), kText);
  http->FreeInstance();
}

TEST_F(DownloadTest, ToFile) {
  const TempFolder folder;
  const std::string path = folder.File("it");
  const auto content = [&path]() -> std::string {
    std::ifstream file(path);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(none)";
  };
  for (const auto& [url_path, error] : kFaults) {
    PatientHttp http;
    EXPECT_FALSE(http.DownloadFile(lab.Url("it", url_path), path));
    EXPECT_EQ(http.GetErrorCode(), error) << url_path;
    EXPECT_EQ(content(), "(none)");
  }
  PatientHttp http;
  std::vector<std::pair<int64_t, int64_t>> steps;
  http.SetDownloadCallback(
      [](void* user_value, int64_t received_bytes, int64_t total_bytes) {
        static_cast<decltype(steps)*>(user_value)->emplace_back(received_bytes, total_bytes);
      },
      &steps);
  ASSERT_TRUE(http.DownloadFile(lab.Url("it", "/it"), path));
  EXPECT_EQ(content(), kText);
  ASSERT_FALSE(steps.empty());
  EXPECT_EQ(steps.back(), std::pair(int64_t{20000}, int64_t{20000}));
  EXPECT_LE(steps.front().first, 8192);
  ASSERT_TRUE(http.DownloadFile(lab.Url("it", "/empty"), path));
  EXPECT_EQ(content(), "");
  EXPECT_FALSE(http.DownloadFile(lab.Url("it", "/it"), folder.File("no/such/folder")));
  EXPECT_EQ(http.GetErrorCode(), kHttpFileFailed);
}

}  // namespace
}  // namespace KRBASE::network
