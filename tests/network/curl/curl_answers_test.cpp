#include <gtest/gtest.h>

#include <cstdlib>

#include "network/http_interface_error.h"
#include "tests/network/outcome.h"

// What our code decides on top of libcurl, byte by byte.
namespace KRBASE::network {
namespace {

using lab::Answer;
using lab::HttpServer;
using lab::Lab;

TEST(CurlRoom, SendsExactlyTheseBytes) {
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

TEST(CurlRoom, ReturnsTheFinalHeadUnchanged) {
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

TEST(CurlRoom, JudgesOddAnswers) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string chunked = ok + "transfer-encoding: ";
  const std::string line = "X: " + std::string(40000, 'x') + "\r\n";
  const std::string big(1048576, 'b');
  const std::pair<lab::Behaviour, Outcome> kCases[] = {
      {lab::Garbage(ok + "X: 1\r\n"), {kHttpOpenFailed, 0, "", "cut_short"}},
      {lab::Garbage("HtTP/1.1 500 No\r\n\r\n200 OK"), {kHttpOpenFailed, 0, "", "malformed"}},
      {lab::Garbage(ok + line + line + "\r\n"), {kHttpOpenFailed, 0, "", "too_large"}},
      {lab::Garbage(ok + big), {kHttpOpenFailed, 0, "", "too_large"}},
  };
  for (const auto& [behaviour, expected] : kCases) {
    ExpectOutcome(behaviour, expected);
  }
  const Lab lab(
      {HttpServer("chunks").On("/", lab::Garbage(chunked + "chunked\r\n\r\nno length\r\n"))});
  EXPECT_EQ(std::get<3>(Get(lab.Url("chunks", "/"))), "malformed");
}

}  // namespace
}  // namespace KRBASE::network
