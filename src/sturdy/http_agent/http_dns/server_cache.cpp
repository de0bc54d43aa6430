// The table of the service's endpoints: its file, the built-in one, and what an answer makes of it.

#include "base/built_in_values.h"
#include "base/log/log.h"
#include "base/thread/clock.h"
#include "base/thread/post_task.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {
namespace {

using dns_key::kHost;
using dns_key::kIPv4;
using dns_key::kIPv6;
using dns_key::kTtl;
using zo_base::json11::Json;

constexpr char kUpdatedAt[] = "updated_at";
constexpr char kExpiredTime[] = "expired_time";

// Of the built-in endpoints. Nothing waits for it: they count as expired from the start.
constexpr int64_t kDefaultTtl = 3600;
// A table that is good for less than this is asked for anew at once.
constexpr int64_t kLeastLeftMs = 2001;

// Empty if a build has none of the family.
template <size_t kCount>
std::string DefaultEndpoints(const char* const (&hosts)[kCount]) {
  Json::array endpoints;
  for (const char* host : hosts) {
    if (*host != '\0') {
      endpoints.push_back(Json::object{{"host", host}, {"port", kHttpDnsPort}, {"https", true}});
    }
  }
  return endpoints.empty() ? "" : Json(endpoints).dump();
}

Json ParseArray(const std::string& text) {
  std::string error;
  return Json::parse(text, error);
}

}  // namespace

void HttpDNSManager::LoadServerCache() {
  const std::string folder = CacheFolder();
  if (folder.empty()) {
    ResetServerCache(false);
    return;
  }
  server_cache_file_.Load(folder + "http_server_cache.data");
  if (UsableName(server_cache_file_.Get(kHost)).empty() || server_cache_file_.Get(kIPv4).empty()) {
    ResetServerCache(true);
  }
}

void HttpDNSManager::ResetServerCache(bool save) {
  SetServerValue(kHost, kDefaultHttpDnsDomain);
  if (const std::string ipv4 = DefaultEndpoints(kDefaultHttpDnsIPv4); !ipv4.empty()) {
    SetServerValue(kIPv4, ipv4);
  }
  if (const std::string ipv6 = DefaultEndpoints(kDefaultHttpDnsIPv6); !ipv6.empty()) {
    SetServerValue(kIPv6, ipv6);
  }
  SetServerValue(kTtl, std::to_string(kDefaultTtl));
  const std::string now = std::to_string(zo_base::Clock::WallMs());
  SetServerValue(kUpdatedAt, now);
  SetServerValue(kExpiredTime, now);
  if (save) {
    server_cache_file_.Save();
  }
}

void HttpDNSManager::SetServerValue(const char* key, const std::string& value) {
  server_cache_file_.Set(key, zo_base::ZOAny(value), zo_base::SVT::kString);
}

bool HttpDNSManager::InitInterfaceAddress() {
  const ServiceAddress missing{1, 0, ""};
  service_table_.ReplaceServiceAddresses(
      server_cache_file_.Get(kHost),
      ReadEndpoints(ParseArray(server_cache_file_.Get(kIPv4)), missing),
      ReadEndpoints(ParseArray(server_cache_file_.Get(kIPv6)), missing));
  // On the thread object, since the thread doesn't run yet.
  zo_base::PostTo(*this, ToWeakClosure([this] { BeginUpdateCycle(); }));
  return true;
}

void HttpDNSManager::BeginUpdateCycle() {
  const int64_t left =
      SaturatingSubtract(NumberOf(server_cache_file_.Get(kExpiredTime)), zo_base::Clock::WallMs());
  if (left < kLeastLeftMs) {
    ZO_LOG(LV_APP) << "[http dns][init] expired_time - time_now <= 2000ms update now";
    DoReload(net::kIPFamilyAny);
    return;
  }
  ZO_LOG(LV_APP) << "[http dns][init] expired_time - time_now > 2000ms update after " << left
                 << "ms";
  ReloadAfter(left, "[http dns][init] Update S (ttl end)");
}

bool HttpDNSManager::UpdateServerCache(const Json& json) {
  const std::string domain = json[kHost].string_value();
  int64_t ttl_ms = kUnstatedTtlMs;
  if (json.object_items().count(kTtl) != 0) {
    ttl_ms = SaturatingWhole<int64_t>(json[kTtl].number_value() * zo_base::kMsPerSecond);
  }
  const ServiceAddress missing{0, 0, ""};
  const std::vector<ServiceAddress> ipv4 = ReadEndpoints(json[kIPv4], missing);
  std::vector<ServiceAddress> ipv6 = ReadEndpoints(json[kIPv6], missing);
  for (ServiceAddress& endpoint : ipv6) {
    endpoint.host = InBrackets(endpoint.host);
  }
  SetServerValue(kHost, domain);
  SetServerValue(kTtl, std::to_string(ttl_ms));
  // The file keeps the server's own form, and of an absent family what it has.
  if (!ipv4.empty()) {
    SetServerValue(kIPv4, json[kIPv4].dump());
  }
  if (!ipv6.empty()) {
    SetServerValue(kIPv6, json[kIPv6].dump());
  }
  SetServerValue(kExpiredTime, std::to_string(SaturatingAdd(zo_base::Clock::WallMs(), ttl_ms)));
  server_cache_file_.Save();
  service_table_.ReplaceServiceAddresses(domain, ipv4, ipv6);
  return true;
}

}  // namespace zo_sturdy
