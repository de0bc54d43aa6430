#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "lab/service_table.h"

namespace lab {

// What a client's earlier run learned of the HTTP DNS service. Lists stand in the file as they
// stand here. A plain value.
struct ServerCache {
  std::string domain = "localhost";
  std::vector<DnsEndpoint> ipv4 = {{"127.0.0.1"}};
  std::vector<DnsEndpoint> ipv6 = {};
  std::chrono::milliseconds expires_in = std::chrono::hours(24);
};

// Leaves the cache where a client finds it whose files lie in `data_folder`, so that it asks those
// endpoints, and asks for no others before the cache expires.
// Errors: std::runtime_error if the file can't be written.
void WriteServerCache(const std::string& data_folder, const ServerCache& cache = {});

}  // namespace lab
