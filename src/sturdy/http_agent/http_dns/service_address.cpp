#include "src/sturdy/http_agent/http_dns/service_address.h"

#include <algorithm>
#include <utility>

#include "net/ip_address.h"
#include "net/url.h"

namespace zo_sturdy {

std::string UsableName(const std::string& text) {
  constexpr unsigned char kBlank = ' ';
  const auto end = std::find_if(text.begin(), text.end(),
                                [](char c) { return static_cast<unsigned char>(c) <= kBlank; });
  std::string name(text.begin(), end);
  if (name.size() > kMaxHostBytes || !net::IsURLHost(name)) {
    name.clear();
  }
  return name;
}

std::string EndpointText(const ServiceAddress& address) {
  if (!net::IsIPLiteral(address.host)) {
    return address.host;
  }
  int32_t port = address.port;
  if (port == 0) {
    port = url::DefaultPort(address.https != 0);
  }
  return address.host + ":" + std::to_string(port);
}

void AppendServiceUrls(const std::vector<ServiceAddress>& endpoints, const std::string& domain,
                       const std::string& path, std::vector<URLItem>& urls) {
  for (const ServiceAddress& endpoint : endpoints) {
    if (endpoint.host.empty()) {
      continue;
    }
    std::string url = endpoint.https != 0 ? "https://" : "http://";
    urls.push_back({url.append(EndpointText(endpoint)).append(path), domain});
  }
}

std::vector<ServiceAddress> ReadEndpoints(const zo_base::json11::Json& array,
                                          const ServiceAddress& missing) {
  std::vector<ServiceAddress> endpoints;
  for (const zo_base::json11::Json& element : array.array_items()) {
    if (endpoints.size() == kMaxEndpoints) {
      break;
    }
    const auto& members = element.object_items();
    ServiceAddress endpoint = missing;
    endpoint.host = UsableName(element["host"].string_value());
    if (const auto port = members.find("port"); port != members.end()) {
      endpoint.port = port->second.int_value();
    }
    if (const auto https = members.find("https"); https != members.end()) {
      endpoint.https = https->second.bool_value() ? 1 : 0;
    }
    if (!endpoint.host.empty()) {
      endpoints.push_back(std::move(endpoint));
    }
  }
  return endpoints;
}

}  // namespace zo_sturdy
