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

// The addresses of one host name. A plain record; times are ms since the epoch.
struct HostEntry {
  std::string host;                // stays empty: the map's key is the name
  bool asked = false;              // whether a query of this process asked for it
  std::vector<std::string> ipv4;   // in server order
  std::vector<std::string> ipv6;   // in server order, each in brackets
  int32_t ttl = 0;                 // ms
  int64_t updated_at = 0;          // when the entry was last written
  int64_t refresh_time = 0;        // served from here on while a refresh runs
  int64_t cache_expired_time = 0;  // not served from here on
};

enum class CacheState {
  kCacheFresh = 1,    // served, nothing else to do
  kCacheStale = 2,    // served, and an asynchronous update is due
  kCacheMissing = 3,  // nothing usable, a synchronous update is due
};

// Longer than every usual form of an address with its brackets.
inline constexpr size_t kMaxIPTextBytes = 64;
// Bounds a list that is dumped as a JSON array: both lists of an entry fit a client's buffer of
// kQueryHostBufferSize.
inline constexpr size_t kMaxAddressListBytes = kMaxDocumentSize - 256;
// Bound all entries in the file's form, since a file longer than kMaxCacheFileBytes counts as
// damaged. New hosts of an answer are accepted up to the first bound; known hosts may grow to the
// second.
inline constexpr size_t kMaxNewHostsBytes = size_t{8} << 20;
inline constexpr size_t kMaxCacheBytes = size_t{12} << 20;
static_assert(kMaxCacheBytes < size_t{kMaxCacheFileBytes});
// Bounds the part of hosts that no query asked for, so that they can't keep out those of queries.
inline constexpr size_t kMaxUnaskedBytes = size_t{256} << 10;

// Says how a host came to the cache. The hosts of a file fit up to kMaxCacheBytes, and count as
// unasked until an answer names them to a query that asked for them.
enum class HostSource { kAsked, kUnasked, kFile };

// Returns how long an entry with a lifetime is served.
int64_t ServedMs(int32_t ttl_ms);

// The addresses of host names, in memory.
//
// An entry with a lifetime of T is fresh for three quarters of T, and isn't served after nine
// tenths. An entry from the future, after the clock was set back, isn't served either.
//
// Threads: any; the mutex is held for a single operation.
// Owner:   HostResolver.
// Errors:  none are reported. Skips an address that is longer than kMaxIPTextBytes, not of visible
//          ASCII or neither an IP address nor the host of a URL that is made with it, and the rest
//          of a list that reaches kMaxAddressListBytes.
class HostCache {
 public:
  using Entries = std::map<std::string, HostEntry>;

  HostCache() = default;
  HostCache(const HostCache&) = delete;
  HostCache& operator=(const HostCache&) = delete;

  // Sets `ips` to the addresses of the family, or of both for any other value. If the
  // result is kCacheMissing, `ips` is unspecified.
  CacheState CheckHost(net::AddressFamily ip_family, const std::string& host,
                       std::vector<std::string>& ips);

  // Gives the entry a new lease. Replaces a list only by one that has addresses. Returns false, and
  // does nothing, if there is no room for what is new.
  bool UpdateHost(const std::string& host, int64_t now, int32_t ttl_ms,
                  const std::vector<std::string>& ipv4, const std::vector<std::string>& ipv6,
                  bool stale_from_start, HostSource source = HostSource::kAsked);
  // Removes the entries that are missing for every family.
  void DropMissing();

  // Returns a copy, so that no thread waits while another writes it to the disk.
  Entries GetEntries();

 private:
  // Returns how many bytes a host may add to the file.
  size_t Room(HostSource source, bool is_new) ZO_REQUIRES(mutex_);
  void Count(const HostEntry& entry, size_t removed, size_t added) ZO_REQUIRES(mutex_);

  zo_base::RecursiveMutex mutex_;
  Entries entries_ ZO_GUARDED_BY(mutex_);
  size_t file_bytes_ ZO_GUARDED_BY(mutex_) = 0;     // an upper bound of the file's size
  size_t unasked_bytes_ ZO_GUARDED_BY(mutex_) = 0;  // the part of entries that aren't `asked`
};

}  // namespace zo_sturdy
