#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lab {

// One endpoint of an HTTP DNS service, as its answer has it.
struct DnsEndpoint {
  std::string host;
  int port = 443;
  bool https = true;
};

// Returns the endpoint as a JSON object.
std::string EndpointText(const DnsEndpoint& endpoint);

// Builds the JSON text of an HTTP DNS service's endpoints, its keys in the order of the calls:
//   Answer(ServiceTable().Domain("localhost").V4({"${endpoint:dns}"}).Ttl(60).Text())
// An endpoint is a placeholder for a server of the scenario, or a JSON object. A plain value.
class ServiceTable {
 public:
  using Texts = std::vector<std::string>;

  ServiceTable& Domain(const std::string& name);  // "host"
  ServiceTable& V4(const Texts& endpoints);       // "ipv4"
  ServiceTable& V6(const Texts& endpoints);       // "ipv6"
  ServiceTable& Ttl(int64_t seconds);             // "ttl"

  std::string Text() const;

 private:
  ServiceTable& Set(const std::string& key, const std::string& json_text);

  std::string members_;
};

}  // namespace lab
