#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// Taking URLs apart. Nothing here validates, unescapes or lower-cases, and nothing fails: any text
// gives a result. The results for text that is no URL are odd but stable, and callers build on
// them ("host:port" without a scheme has the host as its scheme, so callers put "http://" before
// it).
// Threads: any, all functions are pure.
namespace url {

// A stretch of a text. Absent: `begin` 0 and `len` -1; present and empty: `len` 0.
struct URLRange {
  int32_t begin = 0;
  int32_t len = -1;
};

// Where the components of a URL stand in its text, without their separators.
struct URLParts {
  URLRange scheme;
  URLRange username;
  URLRange password;
  URLRange host;  // an IPv6 address keeps its brackets
  URLRange port;
  URLRange path;  // with its first slash
  URLRange query;
  URLRange ref;
  std::unique_ptr<URLParts> inner;  // for schemes that wrap another URL; none of ours does
};

// The schemes that GetURLScheme recognises, in order.
inline constexpr std::array<std::string_view, 10> kKnownSchemes = {
    "app-a", "app-b", "app-c", "app-d", "ftp", "http", "https", "mailto", "rtmp", "rtsp"};

// Splits `length` bytes at `text`; every range of `parts` is written. Bytes are compared as signed
// characters, so bytes from 0x80 up are dropped like blanks at both ends.
void ParseURL(const char* text, int32_t length, URLParts& parts);

// The text of a component; empty if it is absent or empty.
std::string_view TextOfRange(std::string_view text, const URLRange& range);

// The host, and with `with_port` also ":" and the port if the URL has one. Empty without a host.
std::string GetURLHost(const std::string& url, bool with_port);

// Appends the host to `host` and sets `port` to the number of the port text; a component that the
// URL doesn't have, or has empty, leaves its output as it is. See GetURLPort for odd port texts.
void GetURLHostAndPort(const std::string& url, std::string& host, int32_t& port);

// The number that the port text begins with (blanks and a sign may precede it), 0 if there is
// none; held within the bounds of its type, and not within those of a port.
int32_t GetURLPort(const std::string& url);

// The scheme in lower case if it is one of kKnownSchemes, else the empty text.
std::string GetURLScheme(const std::string& url);

bool IsHttpsURL(const std::string& url);

// The port of a URL that has none.
constexpr uint16_t DefaultPort(bool is_https) {
  return is_https ? 443 : 80;
}

}  // namespace url
