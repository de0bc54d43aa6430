#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/json/json.h"

namespace zo_sturdy {

inline constexpr int32_t kHttpDnsPort = 443;

// One endpoint of the HTTP DNS service. A plain record.
struct ServiceAddress {
  uint32_t https = 1;  // 0 is http, everything else https
  int32_t port = 0;    // 0 is not stated; a domain name has none in a URL
  std::string host;    // a domain name, an IPv4 address, or an IPv6 address in brackets
};

// The host part of a request's URL: with a port for an address, which is that of the scheme if
// none is stated, and without one for a name.
std::string EndpointText(const ServiceAddress& address);

// The URL of a path, with its query if it has one, at an endpoint.
std::string ServiceUrl(const ServiceAddress& address, const std::string& path);

// The endpoints of a JSON array, one for each element, whatever it is. A missing key leaves the
// field as `missing` has it.
std::vector<ServiceAddress> ReadEndpoints(const zo_base::json11::Json& array,
                                          const ServiceAddress& missing);

// "[address]", with each bracket that isn't there yet.
std::string InBrackets(const std::string& address);

}  // namespace zo_sturdy
