#include "src/sturdy/http_agent/http_dns/host_item.h"

#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/host_cache.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {

namespace {

using dns_key::kIPv4;
using dns_key::kIPv6;
using dns_key::kTtl;
using zo_base::json11::Json;

constexpr char kCacheExpiredTime[] = "cache_expired_time";

}  // namespace

HostItem ReadHostItem(const std::string& text) {
  const Json json = ParseJson(text);
  HostItem item;
  item.ttl_ms = json[kTtl].int_value();
  if (json.object_items().count(kCacheExpiredTime) != 0) {
    item.expired_ms = SaturatingWhole<int64_t>(json[kCacheExpiredTime].number_value());
  }
  item.ipv4 = TextsOf(json[kIPv4]);
  item.ipv6 = TextsOf(json[kIPv6]);
  return item;
}

std::string HostItemText(const HostEntry& entry) {
  const Json item = Json::object{{kTtl, entry.ttl},
                                 {kCacheExpiredTime, entry.cache_expired_time},
                                 {kIPv4, Json::array(entry.ipv4.begin(), entry.ipv4.end())},
                                 {kIPv6, Json::array(entry.ipv6.begin(), entry.ipv6.end())}};
  return item.dump();
}

}  // namespace zo_sturdy
