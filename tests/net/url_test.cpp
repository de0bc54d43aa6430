#include "net/url.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

// Returns all components in the order of their fields, "-" for an absent one.
std::string Split(const std::string& text) {
  url::URLParts parts;
  parts.port = {7, 7};  // must not survive
  url::ParseURL(text.data(), static_cast<int32_t>(text.size()), parts);
  std::string components;
  for (const url::URLRange& range : {parts.scheme, parts.username, parts.password, parts.host,
                                     parts.port, parts.path, parts.query, parts.ref}) {
    EXPECT_TRUE(range.len >= 0 || (range.begin == 0 && range.len == -1)) << text;
    components += (range.len < 0 ? "-" : text.substr(range.begin, range.len)) + " ";
  }
  return components;
}

TEST(ParseURL, SplitsAnyText) {
  const std::string kCases[][2] = {{"ftp://a.example:8443/a?b#c", "ftp - - a.example 8443 /a b c "},
                                   {"ftp://[::1]/#?", "ftp - - [::1] - / - ? "},
                                   {"ftp://[::1:80", "ftp - - [::1:80 - - - - "},
                                   {"ftp://[a]b]:c:1", "ftp - - [a]b]:c 1 - - - "},
                                   {"ftp://a:1]b", "ftp - - a:1]b - - - - "},
                                   {"ftp://[@a:1", "ftp [ - a 1 - - - "},
                                   {"a.example/path", "- - - a.example - /path - - "},
                                   {"a.example:80/path", "a.example - - 80 - /path - - "},
                                   {"ftp:\\\\/a.example\\x", "ftp - - a.example - \\x - - "},
                                   {"ftp:u:p:q@h:1", "ftp u p:q h 1 - - - "},
                                   {"ftp://u@v@h:", "ftp u@v - h  - - - "},
                                   {"ftp://:@/@:", "ftp   - - /@: - - "},
                                   {"ftp://:80", "ftp - - - 80 - - - "},
                                   {"ftp://h?q?r#f#g?", "ftp - - h - - q?r f#g? "},
                                   {"//#?:", "//#? - - - - - - - "},
                                   {"?", "- - - - - -  - "},
                                   {" \t\x80\xff//h/ a \xc3\xa9\n", "- - - h - / a - - "},
                                   {" \x80\n", "- - - - - - - - "}};
  for (const auto& [text, components] : kCases) {
    EXPECT_EQ(Split(text), components) << text;
  }
}

TEST(Extraction, ReturnsHostPortAndKnownScheme) {
  const struct {
    std::string url, host, host_and_port, scheme;
    int32_t port;
  } kCases[] = {{"HTTPS://u:p@a.example:8443/x", "a.example", "a.example:8443", "https", 8443},
                {"http://[::1]:", "[::1]", "[::1]", "http", 0},
                {"gopher://x", "x", "x", "", 0},
                {"FTP://x", "x", "x", "ftp", 0},
                {"rtmp://x", "x", "x", "rtmp", 0},
                {"rtsp://x", "x", "x", "rtsp", 0},
                {"http://:80/", "", "", "http", 80}};
  for (const auto& row : kCases) {
    EXPECT_EQ(url::GetURLHost(row.url, false), row.host) << row.url;
    EXPECT_EQ(url::GetURLHost(row.url, true), row.host_and_port) << row.url;
    EXPECT_EQ(url::GetURLScheme(row.url), row.scheme) << row.url;
    EXPECT_EQ(url::GetURLPort(row.url), row.port) << row.url;
    EXPECT_EQ(url::IsHttpsURL(row.url), row.scheme == "https") << row.url;
    std::string host = "<";
    int32_t port = -7;
    url::GetURLHostAndPort(row.url, host, port);
    EXPECT_EQ(host, "<" + row.host);
    EXPECT_EQ(port, row.port == 0 ? -7 : row.port) << row.url;
  }
}

TEST(Extraction, ReadsPortTextsAsAtoiAndClampsThem) {
  for (const std::string text : {"1x", " \t12", "+5", "-5", "--5", "x", "0x1f", "007", "2147483647",
                                 "-2147483648", "65536"}) {
    EXPECT_EQ(url::GetURLPort("http://h:" + text + "/"), std::atoi(text.c_str())) << text;
  }
  EXPECT_EQ(url::GetURLPort("http://h:2147483648"), INT_MAX);
  EXPECT_EQ(url::GetURLPort("http://h:-99999999999999999999999"), INT_MIN);
}

}  // namespace
