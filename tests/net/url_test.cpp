#include "net/url.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>

#include "tests/support/small_inputs.h"

namespace {

using Component = std::optional<std::string>;

// All components in the order of their fields, "-" for one that is absent.
std::string Join(std::initializer_list<Component> components) {
  std::string text;
  for (const Component& component : components) {
    text += component.value_or("-") + " ";
  }
  return text;
}

std::string Split(const std::string& text) {
  url::URLParts parts;
  parts.port = {7, 7};  // must not survive
  url::ParseURL(text.data(), static_cast<int32_t>(text.size()), parts);
  const auto component = [&text](const url::URLRange& range) -> Component {
    if (range.len < 0) {
      EXPECT_TRUE(range.begin == 0 && range.len == -1) << text;
      return std::nullopt;
    }
    return text.substr(static_cast<size_t>(range.begin)).substr(0, static_cast<size_t>(range.len));
  };
  return Join({component(parts.scheme), component(parts.username), component(parts.password),
               component(parts.host), component(parts.port), component(parts.path),
               component(parts.query), component(parts.ref)});
}

TEST(ParseURL, Table) {
  const std::string kCases[][2] = {{"ftp://a.example:8443/a?b#c", "ftp - - a.example 8443 /a b c "},
                                   {"ftp://[::1]:8080/", "ftp - - [::1] 8080 / - - "},
                                   {"ftp://[::1]/", "ftp - - [::1] - / - - "},
                                   {"ftp://[::1:80", "ftp - - [::1:80 - - - - "},
                                   {"a.example/path", "- - - a.example - /path - - "},
                                   {"a.example:80/path", "a.example - - 80 - /path - - "},
                                   {"10.0.0.1:8080", "10.0.0.1 - - 8080 - - - - "},
                                   {"ftp:\\\\a.example\\x", "ftp - - a.example - \\x - - "},
                                   {"ftp:///////a.example", "ftp - - a.example - - - - "},
                                   {"ftp:a.example", "ftp - - a.example - - - - "},
                                   {"ftp://u:p:q@h:1/", "ftp u p:q h 1 / - - "},
                                   {"ftp://u@v@h:", "ftp u@v - h  - - - "},
                                   {"ftp://@", "ftp  - - - - - - "},
                                   {"ftp://:80", "ftp - - - 80 - - - "},
                                   {"ftp://h?q?r#f#g?", "ftp - - h - - q?r f#g? "},
                                   {" \t\x80\xff//h/ a \xc3\xa9\n", "- - - h - / a - - "},
                                   {" \x80\n", "- - - - - - - - "}};
  for (const auto& [text, components] : kCases) {
    EXPECT_EQ(Split(text), components) << text;
  }
}

// Cuts `text` before the first `mark`; what stands behind it comes back.
Component Cut(std::string& text, char mark) {
  const size_t at = std::min(text.find(mark), text.size());
  const Component behind = at == text.size() ? Component() : text.substr(at + 1);
  text.resize(at);
  return behind;
}

// The same rules by copies and searches of strings.
std::string SlowSplit(std::string rest) {
  Component scheme, user, password, host, port, path, query, ref;
  if (const Component behind = Cut(rest, ':')) {
    scheme = std::exchange(rest, *behind);
  }
  rest.erase(0, rest.find_first_not_of("/\\"));
  std::string tail = rest.substr(std::min(rest.find_first_of("/\\?#"), rest.size()));
  rest.resize(rest.size() - tail.size());
  ref = Cut(tail, '#');
  query = Cut(tail, '?');
  path = tail.empty() ? path : tail;
  if (const size_t at = rest.rfind('@'); at != std::string::npos) {
    user = rest.substr(0, at);
    password = Cut(*user, ':');
    rest.erase(0, at + 1);
  }
  const bool open = rest[0] == '[' && rest.find(']') == std::string::npos;
  std::string behind = open ? "" : rest.substr(rest.rfind(']') + 1);
  if (const size_t colon = behind.rfind(':'); colon != std::string::npos) {
    port = behind.substr(colon + 1);
    rest.resize(rest.size() - port->size() - 1);
  }
  host = rest.empty() ? host : rest;
  return Join({scheme, user, password, host, port, path, query, ref});
}

TEST(ParseURL, AgreesWithTheSlowWayOnAllSmallTexts) {
  ForAllTexts({"a", ":", "/", "@", "[", "]", "?", "#"}, 6,
              [](const std::string& text) { ASSERT_EQ(Split(text), SlowSplit(text)) << text; });
}

TEST(Extraction, Table) {
  const struct {
    std::string url, host, host_and_port, scheme;
    int32_t port;
  } kCases[] = {{"HTTPS://u:p@a.example:8443/x", "a.example", "a.example:8443", "https", 8443},
                {"http://[::1]:80", "[::1]", "[::1]:80", "http", 80},
                {"FTP://a.example:", "a.example", "a.example", "ftp", 0},
                {"gopher://x", "x", "x", "", 0},
                {"a.example:80/path", "80", "80", "", 0},
                {"http://:80/", "", "", "http", 80},
                {"", "", "", "", 0}};
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
