#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/json/json.h"

namespace zo_sturdy {

inline constexpr int32_t kHttpDnsPort = 443;

// How many endpoints of a family a document can bring. A request tries all of them, two seconds
// apart, and gives each the name of the service: what a server sends without a bound costs it
// little, and the client a product of both.
inline constexpr size_t kMaxEndpoints = 64;
// No host of an endpoint and no name of the service is longer; a transport refuses those anyway.
inline constexpr size_t kMaxHostBytes = 259;

// One endpoint of the HTTP DNS service. A plain record.
struct ServiceAddress {
  uint32_t https = 1;  // 0 is http, everything else https
  int32_t port = 0;    // 0 is not stated; a domain name has none in a URL
  std::string host;    // a domain name, an IPv4 address, or an IPv6 address in brackets
};

// A name of the service up to its first blank or control character; empty if nothing could be sent
// to a name of that length.
std::string UsableName(const std::string& text);

// The host part of a request's URL: with a port for an address, which is that of the scheme if
// none is stated, and without one for a name.
std::string EndpointText(const ServiceAddress& address);

// The URL of a path, with its query if it has one, at an endpoint.
std::string ServiceUrl(const ServiceAddress& address, const std::string& path);

// The endpoints of a JSON array, one for each element, whatever it is, up to kMaxEndpoints. One
// whose host is longer than kMaxHostBytes is passed over. A missing key leaves the field as
// `missing` has it.
std::vector<ServiceAddress> ReadEndpoints(const zo_base::json11::Json& array,
                                          const ServiceAddress& missing);

// "[address]", with each bracket that isn't there yet.
std::string InBrackets(const std::string& address);

}  // namespace zo_sturdy
