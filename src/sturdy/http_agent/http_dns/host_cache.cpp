#include "src/sturdy/http_agent/http_dns/host_cache.h"

#include <utility>

#include "base/clock.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {
namespace {

constexpr double kFreshShare = 0.75;
constexpr double kServedShare = 0.9;
// The lease of an entry that has no answer yet: the shares of a lifetime of 300 s.
constexpr int64_t kFirstRefreshMs = 225000;
constexpr int64_t kFirstExpiryMs = 270000;
// What a JSON array adds to an address: two quotes, a comma and a blank.
constexpr size_t kBytesAroundText = 4;

std::vector<std::string> UsableAddresses(const std::vector<std::string>& addresses) {
  std::vector<std::string> usable;
  size_t list_bytes = 0;
  for (const std::string& address : addresses) {
    if (address.empty() || address.size() > kMaxIPTextBytes) {
      continue;
    }
    list_bytes += address.size() + kBytesAroundText;
    if (list_bytes > kMaxAddressListBytes) {
      break;
    }
    usable.push_back(address);
  }
  return usable;
}

int64_t ShareOf(int32_t ttl_ms, double share) {
  return SaturatingWhole<int64_t>(share * ttl_ms);
}

}  // namespace

CacheState HostCache::CheckHost(net::AddressFamily ip_family, const std::string& host,
                                std::vector<std::string>& ips) {
  zo_base::RecursiveMutexLock lock(mutex_);
  const auto found = entries_.find(host);
  if (found == entries_.end()) {
    return CacheState::kCacheMissing;
  }
  const HostEntry& entry = found->second;
  const auto family = static_cast<int32_t>(ip_family);
  ips = family == net::kIPFamilyV6 ? std::vector<std::string>() : entry.ipv4;
  if (family != net::kIPFamilyV4) {
    ips.insert(ips.end(), entry.ipv6.begin(), entry.ipv6.end());
  }
  if (ips.empty()) {
    return CacheState::kCacheMissing;
  }
  const int64_t now = zo_base::Clock::WallMs();
  const bool served = now < entry.cache_expired_time;
  if (entry.updated_at > now) {
    return entry.refresh_time <= now && served ? CacheState::kCacheStale
                                               : CacheState::kCacheMissing;
  }
  if (now < entry.refresh_time) {
    return CacheState::kCacheFresh;
  }
  return served ? CacheState::kCacheStale : CacheState::kCacheMissing;
}

void HostCache::UpdateHost(const std::string& host, int64_t now, int32_t ttl_ms,
                           const std::vector<std::string>& ipv4,
                           const std::vector<std::string>& ipv6, bool stale_from_start) {
  std::vector<std::string> new_ipv4 = UsableAddresses(ipv4);
  std::vector<std::string> new_ipv6 = UsableAddresses(ipv6);
  zo_base::RecursiveMutexLock lock(mutex_);
  const auto [position, is_new] = entries_.try_emplace(host);
  HostEntry& entry = position->second;
  if (is_new) {
    entry.refresh_time = SaturatingAdd(now, kFirstRefreshMs);
    entry.cache_expired_time = SaturatingAdd(now, kFirstExpiryMs);
  }
  entry.updated_at = now;
  entry.ttl = ttl_ms;
  entry.refresh_time = stale_from_start ? now : SaturatingAdd(now, ShareOf(ttl_ms, kFreshShare));
  entry.cache_expired_time = SaturatingAdd(now, ShareOf(ttl_ms, kServedShare));
  if (!new_ipv4.empty()) {
    entry.ipv4 = std::move(new_ipv4);
  }
  if (!new_ipv6.empty()) {
    entry.ipv6 = std::move(new_ipv6);
  }
}

HostCache::Entries HostCache::GetEntries() {
  zo_base::RecursiveMutexLock lock(mutex_);
  return entries_;
}

}  // namespace zo_sturdy
