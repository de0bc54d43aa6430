#include "src/sturdy/http_agent/http_dns/host_cache.h"

#include <algorithm>
#include <utility>

#include "base/thread/clock.h"
#include "net/ip_address.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {
namespace {

constexpr double kFreshShare = 0.75;
constexpr double kServedShare = 0.9;
// A JSON array adds this to an address: two quotes, a comma and a blank.
constexpr size_t kBytesAroundText = 4;

// An entry adds this to its host and addresses in the file. The numbers are the longest ones.
constexpr size_t kBytesAroundEntry =
    sizeof(R"("": "{\"cache_expired_time\": -9223372036854775808, \"ipv4\": [], )"
           R"(\"ipv6\": [], \"ttl\": -2147483648}", )");

bool IsVisible(char c) {
  constexpr char kFirst = 0x21;
  constexpr char kLast = 0x7e;
  return c >= kFirst && c <= kLast;
}

// Returns the length of a visible text in JSON, without its quotes. Each level of nesting doubles
// the characters that it escapes.
size_t DumpedBytes(const std::string& text, size_t levels) {
  const auto escaped = static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return c == '"' || c == '\\'; }));
  return text.size() + escaped * ((size_t{1} << levels) - 1);
}

// The file keeps an entry as a JSON text inside a JSON string: two levels.
size_t BytesInFile(const std::vector<std::string>& addresses) {
  size_t bytes = 0;
  for (const std::string& address : addresses) {
    bytes += DumpedBytes(address, 2) + kBytesAroundText + 2;
  }
  return bytes;
}

// Returns an upper bound: a control character becomes six, a byte from 0x80 up at most two.
size_t BytesInFile(const std::string& host) {
  constexpr size_t kEscapedBytes = 6;
  size_t bytes = kBytesAroundEntry;
  for (const char c : host) {
    bytes += c == '"' || c == '\\' || static_cast<signed char>(c) < 0 ? 2
             : IsVisible(c) || c == ' '                               ? 1
                                                                      : kEscapedBytes;
  }
  return bytes;
}

std::vector<std::string> UsableAddresses(const std::vector<std::string>& addresses) {
  std::vector<std::string> usable;
  size_t list_bytes = 0;
  for (const std::string& address : addresses) {
    if (address.size() > kMaxIPTextBytes ||
        !std::all_of(address.begin(), address.end(), IsVisible) || !net::IsURLHost(address)) {
      continue;
    }
    list_bytes += DumpedBytes(address, 1) + kBytesAroundText;
    if (list_bytes > kMaxAddressListBytes) {
      break;
    }
    usable.push_back(address);
  }
  return usable;
}

size_t BytesInFile(const std::string& host, const HostEntry& entry) {
  return BytesInFile(host) + BytesInFile(entry.ipv4) + BytesInFile(entry.ipv6);
}

CacheState StateAt(int64_t now, const HostEntry& entry) {
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

int64_t ShareOf(int32_t ttl_ms, double share) {
  return SaturatingWhole<int64_t>(share * ttl_ms);
}

}  // namespace

int64_t ServedMs(int32_t ttl_ms) {
  return ShareOf(ttl_ms, kServedShare);
}

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
  return ips.empty() ? CacheState::kCacheMissing : StateAt(zo_base::Clock::WallMs(), entry);
}

bool HostCache::UpdateHost(const std::string& host, int64_t now, int32_t ttl_ms,
                           const std::vector<std::string>& ipv4,
                           const std::vector<std::string>& ipv6, bool stale_from_start,
                           HostSource source) {
  std::vector<std::string> new_ipv4 = UsableAddresses(ipv4);
  std::vector<std::string> new_ipv6 = UsableAddresses(ipv6);
  zo_base::RecursiveMutexLock lock(mutex_);
  // Build the new entry.
  const auto found = entries_.find(host);
  const bool is_new = found == entries_.end();
  HostEntry updated = is_new ? HostEntry() : found->second;
  const size_t old_bytes = is_new ? 0 : BytesInFile(host, updated);
  updated.asked = updated.asked || source == HostSource::kAsked;
  updated.updated_at = now;
  updated.ttl = ttl_ms;
  updated.refresh_time = stale_from_start ? now : SaturatingAdd(now, ShareOf(ttl_ms, kFreshShare));
  updated.cache_expired_time = SaturatingAdd(now, ServedMs(ttl_ms));
  if (!new_ipv4.empty()) {
    updated.ipv4 = std::move(new_ipv4);
  }
  if (!new_ipv6.empty()) {
    updated.ipv6 = std::move(new_ipv6);
  }
  // Write it if there is room. An old list must not get a new lease in place of a longer one.
  const size_t new_bytes = BytesInFile(host, updated);
  const HostSource share = updated.asked ? HostSource::kAsked : source;
  if (new_bytes > old_bytes && new_bytes - old_bytes > Room(share, is_new)) {
    return false;
  }
  HostEntry& entry = entries_[host];
  Count(entry, old_bytes, 0);
  entry = std::move(updated);
  Count(entry, 0, new_bytes);
  return true;
}

size_t HostCache::Room(HostSource source, bool is_new) {
  const auto left = [](size_t bound, size_t used) { return bound - std::min(bound, used); };
  const bool is_new_in_answer = is_new && source != HostSource::kFile;
  const size_t room = left(is_new_in_answer ? kMaxNewHostsBytes : kMaxCacheBytes, file_bytes_);
  return source == HostSource::kUnasked ? std::min(room, left(kMaxUnaskedBytes, unasked_bytes_))
                                        : room;
}

void HostCache::Count(const HostEntry& entry, size_t removed, size_t added) {
  file_bytes_ = file_bytes_ - removed + added;
  if (!entry.asked) {
    unasked_bytes_ = unasked_bytes_ - removed + added;
  }
}

void HostCache::DropMissing() {
  zo_base::RecursiveMutexLock lock(mutex_);
  const int64_t now = zo_base::Clock::WallMs();
  for (auto it = entries_.begin(); it != entries_.end();) {
    const auto& [host, entry] = *it;
    const bool has_none = entry.ipv4.empty() && entry.ipv6.empty();
    if (has_none || StateAt(now, entry) == CacheState::kCacheMissing) {
      Count(entry, BytesInFile(host, entry), 0);
      it = entries_.erase(it);
    } else {
      ++it;
    }
  }
}

HostCache::Entries HostCache::GetEntries() {
  zo_base::RecursiveMutexLock lock(mutex_);
  return entries_;
}

}  // namespace zo_sturdy
