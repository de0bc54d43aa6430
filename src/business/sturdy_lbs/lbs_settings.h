#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "base/built_in_values.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// An address that goes to a client's buffer of kLinkHostBufferSize bytes has at most this length.
// A longer one is passed over wherever an empty one is.
inline constexpr size_t kMaxAddressBytes = 511;

inline bool IsUsableAddress(const std::string& text) {
  return !text.empty() && text.size() <= kMaxAddressBytes;
}

// The LBS service's working copy of the client's record, with the built-in values until one with
// `enable` set is applied.
//
// Threads: the texts are written before the service's thread starts and only read from then on;
//          `address_family` changes at any time with the client's network.
struct LBSSettings {
  bool enable = false;
  std::string lbs_url = kDefaultLbsUrl;
  std::vector<std::string> lbs_backup_urls{std::begin(kDefaultLbsBackupUrls),
                                           std::end(kDefaultLbsBackupUrls)};
  std::string default_link_v4 = kDefaultLink;
  std::string default_link_v6 = kDefaultLink;
  std::vector<std::string> default_link_list;
  std::atomic<net::AddressFamily> address_family{net::kIPFamilyV4};
};

// Takes the record over if its `enable` is set, and does nothing otherwise. The client's bytes
// aren't trusted: a text ends with its array at the latest, a bool may hold any byte.
void ApplyLBSSettings(const _ZOSturdyLBSSettings& record, LBSSettings& settings);

}  // namespace zo_sturdy
