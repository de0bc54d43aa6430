#include "network/http_header.h"

#include <gtest/gtest.h>

#include <string>

#include "network/platform/header_lines.h"

namespace KRBASE::network::platform {
namespace {

constexpr const char* kDefaultAgent =
    "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
    "Chrome/80.0.4044.92 Safari/537.36";

TEST(CHttpHeader, FillsInDefaultsAndSortsByBytes) {
  CHttpHeader header;
  header.Add("x-last", "1");
  header.Add("Host", "a.example");
  header.Add("Host", "second");
  header.Add("host", "another name");
  header.Add("Content-Type", " application/json");
  header.Add("Empty", "");
  header.Add("", "nameless");
  header.Add("Bad", "a\r\nInjected: 1");
  header.Add("Bad\n", "a");
  header.Add("Bad", std::string("a\0b", 3));
  EXPECT_EQ(header.ToText(), std::string("Accept: */*\r\n"
                                         "Accept-Language: zh-CN,zh;q=0.9\r\n"
                                         "Connection: Keep-Alive\r\n"
                                         "Content-Type:  application/json\r\n"
                                         "Host: a.example\r\n"
                                         "User-Agent: ") +
                                 kDefaultAgent +
                                 "\r\n"
                                 "host: another name\r\n"
                                 "x-last: 1\r\n");
  CHttpHeader own_agent;
  own_agent.Add("User-Agent", "mine");
  EXPECT_NE(own_agent.ToText().find("User-Agent: mine\r\n"), std::string::npos);
  EXPECT_EQ(own_agent.ToText().find("Mozilla"), std::string::npos);
}

TEST(HeaderLines, TakesWhatMayGoOut) {
  HeaderLines headers;
  headers.AddOrReplace(
      "Accept: */*\r\nhost: b\r\nName \t: kept \r\n folded: 1\r\naccept: text/*\r\nno colon\r\n"
      ": nameless\r\nContent-Length: 99\r\ntransfer-encoding: chunked\r\nEXPECT: 100-continue\r\n"
      "Lone: a\rb\r\nToo: a\nb\r\nTime: 1:2:3");
  headers.AddOrReplace(std::string("Nul: a\0b\r\n", 10));
  headers.Remove("HOST");
  std::string shown;
  for (const HeaderLines::Line& line : headers.lines()) {
    shown += line.name + "|" + line.value + "|";
  }
  EXPECT_EQ(shown, "Name| kept |folded| 1|accept| text/*|Time| 1:2:3|");
  EXPECT_TRUE(headers.Has("FOLDED"));
}

TEST(HeaderValue, IsThatOfTheFirstLineWithTheName) {
  const std::string head =
      "HTTP/1.1 302 Found: x\r\nlocation:  /a b \t\r\nLocation: /second\r\nEmpty:\r\n\r\n";
  EXPECT_EQ(HeaderValue(head, "Location"), "/a b");
  EXPECT_EQ(HeaderValue(head, "Empty"), "");
  EXPECT_EQ(HeaderValue(head, "Found"), "");
}

}  // namespace
}  // namespace KRBASE::network::platform
