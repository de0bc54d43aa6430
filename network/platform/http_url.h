#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "net/ip_address.h"

// What a transfer needs of a URL.
// Threads: any, all functions are pure.
// Errors:  an empty result; nothing throws but for want of memory.
namespace KRBASE::network::platform {

// Where a request goes. `host` has brackets round an IPv6 address; a host written as numbers is in
// its usual form (127.1 is 127.0.0.1). `target` is path and query, ready for the wire.
struct HttpUrl {
  bool is_https = false;
  std::string host;
  uint16_t port = 0;
  std::string target;
};

// Takes a URL apart. User information and fragment are dropped. Empty for other schemes than http
// and https, without a host, for a port that is none, and for a host, or a path with its query,
// that has so many characters or more. Bytes of the path that may not stand on the wire are
// escaped; backslashes in it are slashes.
std::optional<HttpUrl> CrackUrl(const std::string& url, size_t host_limit, size_t path_limit);

// An address as it stands in a URL: in brackets if it is one of IPv6.
std::string UrlHost(const net::IPBytes& address);

// The URL without its target: "https://host:port".
std::string UrlOrigin(const HttpUrl& url);

// Where a Location header leads from `base`; empty as in CrackUrl, but of any length.
// Requires: libcurl is loaded.
std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, const std::string& location);

}  // namespace KRBASE::network::platform
