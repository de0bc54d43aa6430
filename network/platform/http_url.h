#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "net/ip_address.h"

// The parts of a URL that a transfer uses.
// Threads: any, all functions are pure.
// Errors:  an empty result. std::bad_alloc is the only exception.
namespace KRBASE::network::platform {

// The destination of a request.
struct HttpUrl {
  bool is_https = false;
  std::string host;  // IPv6 in brackets; an address in its usual form (127.1 becomes 127.0.0.1)
  uint16_t port = 0;
  std::string target;  // path and query, escaped
};

// Splits a URL. Drops user information and fragment, escapes the bytes of the path that HTTP
// doesn't allow, and turns its backslashes into slashes.
// Refuses other schemes than http and https, an empty host, an invalid port, and a host, or a path
// with its query, of this many characters or more.
std::optional<HttpUrl> CrackUrl(const std::string& url, size_t host_limit, size_t path_limit);

// Replaces each byte that is no visible ASCII character by "%" and two hexadecimal digits.
std::string Escaped(std::string_view text);

// The form of an address in a URL: IPv6 in brackets.
std::string UrlHost(const net::IPBytes& address);

// The URL without its target: "https://host:port".
std::string UrlOrigin(const HttpUrl& url);

}  // namespace KRBASE::network::platform
