#include "src/sturdy/http_agent/http_dns/service_cache.h"

#include "base/decimal.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"

namespace zo_sturdy {

using dns_key::kHost;
using dns_key::kIPv4;
using dns_key::kIPv6;
using dns_key::kTtl;

bool IsUsableServiceCache(const zo_base::KeyValueFile& file) {
  return !UsableName(file.Get(kHost)).empty() && !file.Get(kIPv4).empty();
}

ServiceCache ReadServiceCache(const zo_base::KeyValueFile& file) {
  const ServiceAddress missing{1, 0, ""};
  ServiceCache cache;
  cache.host = file.Get(kHost);
  cache.ipv4 = ReadEndpoints(ParseJson(file.Get(kIPv4)), missing);
  cache.ipv6 = ReadEndpoints(ParseJson(file.Get(kIPv6)), missing);
  return cache;
}

int64_t ServiceTtlMs(const zo_base::KeyValueFile& file) {
  return zo_base::LeadingNumber<int64_t>(file.Get(kTtl));
}

int64_t ServiceExpiredMs(const zo_base::KeyValueFile& file) {
  return zo_base::LeadingNumber<int64_t>(file.Get(service_cache_key::kExpiredTime));
}

}  // namespace zo_sturdy
