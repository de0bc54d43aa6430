#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/built_in_values.h"
#include "base/sync/mutex.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// What is known of one host name. A plain record; times are ms since the epoch.
struct HostEntry {
  std::string host;                // the map's key carries the name, and this stays empty
  std::vector<std::string> ipv4;   // in server order
  std::vector<std::string> ipv6;   // in server order, each in brackets
  int32_t ttl = 0;                 // ms
  int64_t updated_at = 0;          // when the entry was last written
  int64_t refresh_time = 0;        // from here on it is served while a refresh runs
  int64_t cache_expired_time = 0;  // from here on it isn't served
};

enum class CacheState {
  kCacheFresh = 1,    // served, nothing else to do
  kCacheStale = 2,    // served, and an asynchronous update is due
  kCacheMissing = 3,  // nothing usable, a synchronous update is due
};

// Longer than every usual form of an address with its brackets.
inline constexpr size_t kMaxIPTextBytes = 64;
// Of a list, dumped as a JSON array: both of an entry fit a client's buffer of
// kQueryHostBufferSize.
inline constexpr size_t kMaxAddressListBytes = kMaxDocumentSize - 256;
// Of all entries as the file holds them, where a longer one than kMaxCacheFileBytes is taken for
// damaged. An answer's new hosts are let in up to the first, and those that are known can grow to
// the second.
inline constexpr size_t kMaxNewHostsBytes = size_t{8} << 20;
inline constexpr size_t kMaxCacheBytes = size_t{12} << 20;
static_assert(kMaxCacheBytes < size_t{kMaxCacheFileBytes});

// The addresses of host names, in memory. Nothing ever removes an entry.
//
// An entry with a lifetime of T is fresh for three quarters of T and dead from nine tenths on. An
// entry from the future, after the clock was set back, is dead.
// Threads: any; the mutex is held for the single operation.
// Owner:   HttpDNSManager.
// Errors:  none. An address that is empty, longer than kMaxIPTextBytes, or not of visible ASCII is
//          passed over, and so are the rest of a list that comes to kMaxAddressListBytes, a new
//          host past kMaxNewHostsBytes, and what a known one would add past kMaxCacheBytes.
class HostCache {
 public:
  using Entries = std::map<std::string, HostEntry>;

  HostCache() = default;
  HostCache(const HostCache&) = delete;
  HostCache& operator=(const HostCache&) = delete;

  // `ips` gets the addresses of the family, of both for any value but IPv4 and IPv6; it means
  // something unless the host is missing.
  CacheState CheckHost(net::AddressFamily ip_family, const std::string& host,
                       std::vector<std::string>& ips);

  // Gives the entry a new lease. A list is replaced only by one that has addresses. A new host is
  // let in up to `new_hosts_bytes`: what a file brings back all finds room.
  void UpdateHost(const std::string& host, int64_t now, int32_t ttl_ms,
                  const std::vector<std::string>& ipv4, const std::vector<std::string>& ipv6,
                  bool stale_from_start, size_t new_hosts_bytes = kMaxNewHostsBytes);

  // A copy, so that nobody waits for whoever writes it to the disk.
  Entries GetEntries();

 private:
  void ReplaceAddresses(std::vector<std::string>& old, std::vector<std::string> addresses)
      ZO_REQUIRES(mutex_);

  zo_base::RecursiveMutex mutex_;
  Entries entries_ ZO_GUARDED_BY(mutex_);
  size_t file_bytes_ ZO_GUARDED_BY(mutex_) = 0;  // what the entries can take in the file
};

}  // namespace zo_sturdy
