#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/built_in_values.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// The longest address that fits a client's buffer of kLinkHostBufferSize bytes. A longer one is
// skipped like an empty one.
inline constexpr size_t kMaxAddressBytes = 511;
inline constexpr int32_t kMaxPort = 65535;

// True if a chooser can return "host:port" as it is: the text fits, and the port isn't too large.
bool IsUsableAddress(const std::string& text);

// The LBS service's copy of the client's record. Holds the built-in values until a record with
// `enable` set is applied.
//
// Threads: the texts are constant once the service's thread starts. `address_family` follows the
//          client's network at any time.
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

// Copies the record if its `enable` is set; does nothing otherwise. The client's bytes aren't
// trusted: a text may lack its NUL, a bool may hold any byte.
void ApplyLBSSettings(const _ZOSturdyLBSSettings& record, LBSSettings& settings);

// Writes the settings that a service starts with.
void LogSettings(const LBSSettings& settings);

}  // namespace zo_sturdy
