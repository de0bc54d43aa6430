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

// Builds the JSON text of an HTTP DNS service's endpoints, its keys in the order of the calls:
//   Answer(ServiceTable().Domain("localhost").V4({"dns"}).V6({{"[::1]", 443, true}}).Text())
// An endpoint is the name of a server of the scenario, or its parts. A plain value.
class ServiceTable {
 public:
  struct Entry {
    Entry(const char* server) : Entry(std::string(server)) {}
    Entry(const std::string& server) : text("${endpoint:" + server + "}") {}
    Entry(const DnsEndpoint& endpoint);
    Entry(const std::string& host, int port, bool https) : Entry(DnsEndpoint{host, port, https}) {}

    std::string text;
  };
  using Entries = std::vector<Entry>;

  ServiceTable& Domain(const std::string& name);  // "host"
  ServiceTable& V4(const Entries& entries);       // "ipv4"
  ServiceTable& V6(const Entries& entries);       // "ipv6"
  ServiceTable& Ttl(int64_t seconds);             // "ttl"

  std::string Text() const;

 private:
  ServiceTable& Set(const std::string& key, const std::string& json_text);

  std::string members_;
};

}  // namespace lab
