#include <gtest/gtest.h>

#include <string>

#include "network/platform/header_lines.h"

namespace KRBASE::network::platform {
namespace {

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
  const std::string head = "HTTP/1.1 302 Found: x\r\nlocation:  /a b \t\r\nLocation: /c\r\n\r\n";
  EXPECT_EQ(HeaderValue(head, "Location") + HeaderValue(head, "Found"), "/a b");
}

}  // namespace
}  // namespace KRBASE::network::platform
