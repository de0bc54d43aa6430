#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "lab/server_cache.h"

using CachedEndpoint = lab::DnsEndpoint;

// The folder in which an environment of the default business keeps its files, given the client's.
inline std::string FinalDataFolder(const std::string& client_folder) {
  return client_folder + "/sturdy_comp/d6f07bc61ae1384e48a8edaab463328b/";
}

// Writes the table of HTTP DNS endpoints that an earlier run would have left under `data_folder`,
// good for another day unless told otherwise.
inline void WriteServerCache(const std::string& data_folder,
                             const std::vector<CachedEndpoint>& ipv4 = {{"127.0.0.1"}},
                             const std::vector<CachedEndpoint>& ipv6 = {},
                             const std::string& domain = "localhost",
                             int64_t expires_in_ms = 86400000) {
  lab::WriteServerCache(data_folder,
                        {domain, ipv4, ipv6, std::chrono::milliseconds(expires_in_ms)});
}
