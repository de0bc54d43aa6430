#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "src/sturdy/config/multiple_url_request.h"

namespace zo_sturdy {

inline constexpr int32_t kHttpDnsPort = 443;

// Bounds the endpoints of a family in a document. A request tries all of them, two seconds apart,
// and copies the service's name for each, so an unbounded document would cost its server little and
// the client a product of both.
inline constexpr size_t kMaxEndpoints = 64;
// Bounds the host of an endpoint and the name of the service; the transport refuses longer ones.
inline constexpr size_t kMaxHostBytes = 259;

// One endpoint of the HTTP DNS service. A plain record.
struct ServiceAddress {
  uint32_t https = 1;  // 0 is http, everything else https
  int32_t port = 0;    // 0 means not stated; a URL gives a domain name no port
  std::string host;    // a domain name, an IPv4 address, or an IPv6 address in brackets
};

// Returns the name of the service or of an endpoint up to its first blank or control character;
// empty if that is longer than kMaxHostBytes, or isn't the host of the URL that is made with it.
std::string UsableName(const std::string& text);

// Returns the host part of a request's URL. An address gets its port, or the scheme's if it states
// none; a name gets no port.
std::string EndpointText(const ServiceAddress& address);

// Appends the URL of a path, with its query if it has one, at each endpoint. All of them present
// the service's domain, so that an endpoint that is an address knows which service is meant. Skips
// the domain of a table that isn't filled yet.
void AppendServiceUrls(const std::vector<ServiceAddress>& endpoints, const std::string& domain,
                       const std::string& path, std::vector<URLItem>& urls);

// Returns an endpoint for each element of a JSON array that has a usable host, up to kMaxEndpoints.
// Another missing key leaves the field as `missing` has it.
std::vector<ServiceAddress> ReadEndpoints(const zo_base::json11::Json& array,
                                          const ServiceAddress& missing);

}  // namespace zo_sturdy
