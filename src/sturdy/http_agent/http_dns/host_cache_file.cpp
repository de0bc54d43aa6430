// The host cache on the disk. It is read once, and each entry gets a new and short lease; from then
// on memory leads and the file follows.

#include <algorithm>

#include "base/thread/clock.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {
namespace {

using dns_key::kIPv4;
using dns_key::kIPv6;
using dns_key::kTtl;
using zo_base::json11::Json;

constexpr char kCacheExpiredTime[] = "cache_expired_time";

// An entry that had less than this left is served for a moment while it is asked for anew; none is
// trusted for longer than the other.
constexpr int64_t kShortLeaseMs = 3000;
constexpr int64_t kLongestLeaseMs = 300000;

}  // namespace

bool HttpDNSManager::LoadHostCache() {
  const std::string folder = CacheFolder();
  if (folder.empty()) {
    return true;
  }
  host_cache_file_.Load(folder + "http_dns_cache.data");
  host_cache_file_.ForEach(
      [this](const std::string& host, const zo_base::KeyValueFile::Value& value) {
        LoadHostItem(host, zo_base::ZOAnyCast<std::string>(std::get<zo_base::ZOAny>(value)));
      });
  return true;
}

void HttpDNSManager::LoadHostItem(const std::string& host, const std::string& text) {
  std::string error;
  const Json item = Json::parse(text, error);
  const int64_t now = zo_base::Clock::WallMs();
  int64_t expired_ms = now;
  if (item.object_items().count(kCacheExpiredTime) != 0) {
    expired_ms = SaturatingWhole<int64_t>(item[kCacheExpiredTime].number_value());
  }
  const int64_t remaining = SaturatingSubtract(expired_ms, now);
  const bool stale_from_start = remaining < kShortLeaseMs;
  const int64_t lease_ms = std::clamp(remaining, kShortLeaseMs, kLongestLeaseMs);
  host_cache_.UpdateHost(host, now, static_cast<int32_t>(lease_ms), TextsOf(item[kIPv4]),
                         TextsOf(item[kIPv6]), stale_from_start, kMaxCacheBytes);
}

// The lock makes of two answers, each delivered on a thread of its own, two files in order.
void HttpDNSManager::SaveHostCache() {
  const zo_base::MutexLock lock(save_mutex_);
  host_cache_file_.Clear();  // what the cache passed over when it was loaded doesn't come back
  for (const auto& [host, entry] : host_cache_.GetEntries()) {
    const Json item = Json::object{{kTtl, entry.ttl},
                                   {kCacheExpiredTime, entry.cache_expired_time},
                                   {kIPv4, Json::array(entry.ipv4.begin(), entry.ipv4.end())},
                                   {kIPv6, Json::array(entry.ipv6.begin(), entry.ipv6.end())}};
    host_cache_file_.Set(host, zo_base::ZOAny(item.dump()), zo_base::SVT::kString);
  }
  host_cache_file_.Save();
}

}  // namespace zo_sturdy
