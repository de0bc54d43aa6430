#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What a client's caches hold, and what a client would do with them. Plain values. Times are ms
// since the epoch.
namespace client_state {

// A part of a file that can't be used.
struct Fault {
  std::string member;            // of the file's object; empty: the file itself
  std::optional<size_t> offset;  // in bytes, in the file or in the member's text
  std::string what;
};

struct CacheFile {
  enum class Condition {
    kMissing,
    kUnreadable,  // it exists, but can't be opened
    kEmpty,
    kDamaged,  // counts as an empty one
    kGood,     // one JSON object; its members can have faults
  };
  std::string path;
  Condition condition = Condition::kMissing;
  std::vector<Fault> faults;
};

// lbs/lbs.data
struct DocumentState {
  CacheFile file;
  bool is_usable = false;             // a start with the settings below takes it
  std::optional<int64_t> fetched_ms;  // none: built from settings, or of an older version
  std::string root_url;               // the first LBS URL of the settings it counts for
  int family = 0;                     // it counts for: 0 any, 1 IPv4, 2 IPv6
  std::vector<std::string> fetch_urls;
  std::vector<std::string> links;
  std::vector<std::string> defaults;
};

// http_dns/http_server_cache.data
struct EndpointsState {
  CacheFile file;
  bool is_usable = false;  // false: a start takes the endpoints that are built in
  std::string name;        // of the service
  std::vector<std::string> urls;
  int64_t ttl_ms = 0;
  int64_t expired_ms = 0;  // the service is asked again from here on
};

struct HostState {
  enum class Kind { kFresh, kStale, kGone };
  std::string name;
  Kind kind = Kind::kGone;
  std::vector<std::string> addresses;
  int64_t stale_ms = 0;  // served and refreshed from here on
  int64_t gone_ms = 0;   // not served from here on
};

// http_dns/http_dns_cache.data
struct HostsState {
  CacheFile file;
  std::vector<HostState> hosts;
};

struct ClientState {
  std::string folder;
  int64_t now_ms = 0;
  DocumentState document;
  EndpointsState endpoints;
  HostsState hosts;
};

// The words of the JSON form.
const char* TextOf(CacheFile::Condition condition);
const char* TextOf(HostState::Kind kind);
const char* FamilyText(int family);

}  // namespace client_state
