#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "lab/service_table.h"

namespace lab {

// What an earlier run of a client learned about the HTTP DNS service. The file has the lists in
// this order. A plain value.
struct ServerCache {
  std::string domain = "localhost";
  std::vector<DnsEndpoint> ipv4 = {{"127.0.0.1"}};
  std::vector<DnsEndpoint> ipv6 = {};
  std::chrono::milliseconds expires_in = std::chrono::hours(24);
};

// Writes the cache into the data folder of a client. The client then uses these endpoints and
// requests no others before the cache expires.
// Errors: std::runtime_error if the file can't be written.
void WriteServerCache(const std::string& data_folder, const ServerCache& cache = {});

}  // namespace lab
