#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// Splits URLs. No function validates, unescapes or changes case. Callers rely on the results for
// text that is no URL too: in "host:port" the host counts as the scheme, so they put "http://" in
// front of it.
// Threads: any, all functions are pure.
// Errors:  none; any text has a result.
namespace url {

// A part of a text. Absent: `begin` 0 and `len` -1. Present and empty: `len` 0.
struct URLRange {
  int32_t begin = 0;
  int32_t len = -1;
};

// The components of a URL as parts of its text, without their separators.
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

// The schemes that GetURLScheme knows, sorted.
inline constexpr std::array<std::string_view, 10> kKnownSchemes = {
    "app-a", "app-b", "app-c", "app-d", "ftp", "http", "https", "mailto", "rtmp", "rtsp"};

// Splits `length` bytes at `text` and writes every range of `parts`. Drops blanks, control
// characters and bytes from 0x80 up at both ends.
void ParseURL(const char* text, int32_t length, URLParts& parts);

// Returns the text of a component; empty if it is absent.
std::string_view TextOfRange(std::string_view text, const URLRange& range);

// Returns the host, and with `with_port` also ":" and the port if the URL has one. Returns an empty
// text without a host.
std::string GetURLHost(const std::string& url, bool with_port);

// Appends the host to `host` and sets `port` as GetURLPort does. Leaves an output unchanged if its
// component is absent or empty.
void GetURLHostAndPort(const std::string& url, std::string& host, int32_t& port);

// Returns the number at the begin of the port text, after blanks and with a sign; 0 if there is
// none. It may be larger than any port, and is clamped to the type.
int32_t GetURLPort(const std::string& url);

// Returns the scheme in lower case if it is in kKnownSchemes, otherwise an empty text.
std::string GetURLScheme(const std::string& url);

bool IsHttpsURL(const std::string& url);

// Returns the port of a URL that names none.
constexpr uint16_t DefaultPort(bool is_https) {
  return is_https ? 443 : 80;
}

}  // namespace url
