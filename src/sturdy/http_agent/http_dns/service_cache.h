#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/key_value_file.h"
#include "src/sturdy/http_agent/http_dns/service_address.h"

namespace zo_sturdy {

// Keys of http_server_cache.data, besides those of dns_key.
namespace service_cache_key {
inline constexpr char kUpdatedAt[] = "updated_at";
inline constexpr char kExpiredTime[] = "expired_time";
}  // namespace service_cache_key

// The service's endpoints, as http_server_cache.data has them. A plain value; the functions below
// keep no state.
struct ServiceCache {
  std::string host;  // the service's name, as it is in the file
  std::vector<ServiceAddress> ipv4;
  std::vector<ServiceAddress> ipv6;
};

// Returns false if the built-in endpoints replace the file.
bool IsUsableServiceCache(const zo_base::KeyValueFile& file);

ServiceCache ReadServiceCache(const zo_base::KeyValueFile& file);

// Return the lifetime, and when the service is asked again, in ms since the epoch.
int64_t ServiceTtlMs(const zo_base::KeyValueFile& file);
int64_t ServiceExpiredMs(const zo_base::KeyValueFile& file);

}  // namespace zo_sturdy
