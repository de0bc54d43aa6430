#include "net/url.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>

#include "tests/support/small_inputs.h"

namespace {

using url::URLParts;
using url::URLRange;
using Component = std::optional<std::string>;
using AllComponents = std::array<Component, 8>;

// The components in the order of their fields, absent ones as nullopt.
AllComponents Components(const std::string& text) {
  URLParts parts;
  parts.port = {7, 7};  // must not survive
  url::ParseURL(text.data(), static_cast<int32_t>(text.size()), parts);
  EXPECT_EQ(parts.inner, nullptr);
  AllComponents components;
  auto next = components.begin();
  for (const URLRange& range : {parts.scheme, parts.username, parts.password, parts.host,
                                parts.port, parts.path, parts.query, parts.ref}) {
    const bool absent = range.len == -1;
    EXPECT_TRUE(absent ? range.begin == 0
                       : range.begin >= 0 && range.len >= 0 &&
                             static_cast<size_t>(range.begin + range.len) <= text.size())
        << text;
    if (!absent) {
      *next = text.substr(static_cast<size_t>(range.begin), static_cast<size_t>(range.len));
    }
    ++next;
  }
  return components;
}

const Component kNone;

TEST(ParseURL, Table) {
  const struct {
    std::string text;
    AllComponents components;  // scheme, username, password, host, port, path, query, ref
  } kCases[] = {
      {"ftp://a.example:8443/a?b#c", {"ftp", kNone, kNone, "a.example", "8443", "/a", "b", "c"}},
      {"ftp://[::1]:8080/", {"ftp", kNone, kNone, "[::1]", "8080", "/", kNone, kNone}},
      {"ftp://[::1]/", {"ftp", kNone, kNone, "[::1]", kNone, "/", kNone, kNone}},
      {"ftp://[::1:80", {"ftp", kNone, kNone, "[::1:80", kNone, kNone, kNone, kNone}},
      {"a.example/path", {kNone, kNone, kNone, "a.example", kNone, "/path", kNone, kNone}},
      {"a.example:80/path", {"a.example", kNone, kNone, "80", kNone, "/path", kNone, kNone}},
      {"10.0.0.1:8080", {"10.0.0.1", kNone, kNone, "8080", kNone, kNone, kNone, kNone}},
      {"ftp:\\\\a.example\\x", {"ftp", kNone, kNone, "a.example", kNone, "\\x", kNone, kNone}},
      {"ftp:///////a.example", {"ftp", kNone, kNone, "a.example", kNone, kNone, kNone, kNone}},
      {"ftp:a.example", {"ftp", kNone, kNone, "a.example", kNone, kNone, kNone, kNone}},
      {"ftp://u:p:q@h:1/", {"ftp", "u", "p:q", "h", "1", "/", kNone, kNone}},
      {"ftp://u@v@h", {"ftp", "u@v", kNone, "h", kNone, kNone, kNone, kNone}},
      {"ftp://@", {"ftp", "", kNone, kNone, kNone, kNone, kNone, kNone}},
      {"ftp://a.example:", {"ftp", kNone, kNone, "a.example", "", kNone, kNone, kNone}},
      {"ftp://:80", {"ftp", kNone, kNone, kNone, "80", kNone, kNone, kNone}},
      {"ftp://h?q?r#f#g?", {"ftp", kNone, kNone, "h", kNone, kNone, "q?r", "f#g?"}},
      {"ftp://h#f?q", {"ftp", kNone, kNone, "h", kNone, kNone, kNone, "f?q"}},
      {" \t\x80\xff"
       "ftp://h/ a \xc3\xa9\n",
       {"ftp", kNone, kNone, "h", kNone, "/ a", kNone, kNone}},
      {" \x80\n", {}},
      {"", {}},
  };
  for (const auto& [text, components] : kCases) {
    EXPECT_EQ(Components(text), components) << text;
  }
  URLParts parts;
  url::ParseURL("abc", -1, parts);
  EXPECT_EQ(parts.host.len, -1);
}

// The same rules by copies and searches of strings.
AllComponents SlowComponents(std::string rest) {
  AllComponents components;
  auto& [scheme, user, password, host, port, path, query, ref] = components;
  if (const size_t colon = rest.find(':'); colon != std::string::npos) {
    scheme = rest.substr(0, colon);
    rest.erase(0, colon + 1);
  }
  rest.erase(0, rest.find_first_not_of("/\\"));
  std::string tail = rest.substr(std::min(rest.find_first_of("/\\?#"), rest.size()));
  rest.resize(rest.size() - tail.size());
  if (const size_t hash = tail.find('#'); hash != std::string::npos) {
    ref = tail.substr(hash + 1);
    tail.resize(hash);
  }
  if (const size_t mark = tail.find('?'); mark != std::string::npos) {
    query = tail.substr(mark + 1);
    tail.resize(mark);
  }
  if (!tail.empty()) {
    path = tail;
  }
  if (const size_t at = rest.rfind('@'); at != std::string::npos) {
    user = rest.substr(0, at);
    rest.erase(0, at + 1);
    if (const size_t colon = user->find(':'); colon != std::string::npos) {
      password = user->substr(colon + 1);
      user->resize(colon);
    }
  }
  const bool open = !rest.empty() && rest[0] == '[' && rest.find(']') == std::string::npos;
  const std::string behind = open ? "" : rest.substr(rest.rfind(']') + 1);
  if (const size_t colon = behind.rfind(':'); colon != std::string::npos) {
    port = behind.substr(colon + 1);
    rest.resize(rest.size() - port->size() - 1);
  }
  if (!rest.empty()) {
    host = rest;
  }
  return components;
}

TEST(ParseURL, AgreesWithTheSlowWayOnAllSmallTexts) {
  ForAllTexts({"a", ":", "/", "@", "[", "]", "?", "#"}, 6, [](const std::string& text) {
    ASSERT_EQ(Components(text), SlowComponents(text)) << text;
  });
}

TEST(Extraction, Table) {
  const struct {
    std::string url, host, host_and_port, scheme;
    int32_t port;
  } kCases[] = {
      {"HTTPS://u:p@a.example:8443/x", "a.example", "a.example:8443", "https", 8443},
      {"http://[::1]:80", "[::1]", "[::1]:80", "http", 80},
      {"ftp://a.example:", "a.example", "a.example", "ftp", 0},
      {"FTP://x", "x", "x", "ftp", 0},
      {"gopher://x", "x", "x", "", 0},
      {"a.example:80/path", "80", "80", "", 0},
      {"http://:80/", "", "", "http", 80},
      {"http:", "", "", "http", 0},
      {"\xc3\x84http://x", "x", "x", "http", 0},
      {"", "", "", "", 0},
  };
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

TEST(Extraction, PortTextsAreReadAsByAtoiWithinItsBounds) {
  for (const std::string text : {"1x", " \t12", "+5", "-5", "--5", "x", "0x1f", "007", "2147483647",
                                 "-2147483648", "65536"}) {
    EXPECT_EQ(url::GetURLPort("http://h:" + text + "/"), std::atoi(text.c_str())) << text;
  }
  EXPECT_EQ(url::GetURLPort("http://h:2147483648"), INT_MAX);
  EXPECT_EQ(url::GetURLPort("http://h:-99999999999999999999999"), INT_MIN);
}

}  // namespace
