#pragma once

#include <string>
#include <vector>

#include "base/key_value_file.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

struct LBSSettings;

// Keys of the cache file. The spelling of two of them is part of the format.
namespace lbs_key {
inline constexpr const char* kResponse = "lbs_rsp";  // the whole document
inline constexpr const char* kRootAddress = "root_lbs_addr";
inline constexpr const char* kFamily = "lbs_ip_version";
inline constexpr const char* kRuntimeAddress = "runntime_lbs";
inline constexpr const char* kBackupAddresses = "lbs_backup_addr";
inline constexpr const char* kDefaultLink = "def_link_addr";
inline constexpr const char* kVltDL = "vlt_dl";
inline constexpr const char* kVltDLList = "vlt_dl_list";
inline constexpr const char* kVltList = "vlt_list";
inline constexpr const char* kName = "name";
inline constexpr const char* kDesc = "desc";
inline constexpr const char* kMsgStatInfo = "msg_stat_info";
inline constexpr const char* kFetchedAt = "fetched_at";  // ms since the epoch; absent if never
}  // namespace lbs_key

// The active LBS data of the process and its file "lbs/lbs.data", which lets the next
// process connect before any server has answered.
//
// Threads: any; the store guards itself. A reader can see a part of the keys that one call sets.
// Owner:   ActiveDocument.
// Errors:  none are reported. The checks refuse a file that is absent, damaged or of other
//          settings; the owner then resets the data to the defaults.
class LBSResponse : public EnvironmentConfigGetterBase {
 public:
  // Reads the file. Creates its folder if that is missing. True if it holds a usable entry.
  bool LoadCache();

  // The same for the file at a path. Creates nothing.
  bool ReadCache(const std::string& path);

  // Tells a file that can't be used from an absent one.
  bool HasCacheFile();

  // True if the cache was made for these settings: the same main URL and a matching family.
  bool CheckCache(const LBSSettings& settings);

  // True if a body is a complete document.
  bool CheckResponse(const std::string& body) const;

  // Returns the URLs of the next fetch, 64 at most: the runtime one, then the backups. Leaves out
  // backups longer than kMaxLbsUrlBytes.
  std::vector<std::string> GetFetchUrls() const;

  // Returns the family that the cache was made for; IPv4 for a cache without that key.
  int CachedFamily() const;

  // Replaces all data by a document built from the settings. Empties the file; with `save` writes
  // the new data to it. The data is right also if the file can't be written.
  void ResetToDefault(const LBSSettings& settings, bool save);

  // One setter for each key; they don't save. SetCore sets the three keys of every good document,
  // in the order of the format.
  void SetCore(const std::string& response, const std::string& root, const std::string& family);
  void SetRuntimeLBS(const std::string& url) { Set(lbs_key::kRuntimeAddress, url); }
  void SetBackupLBS(const std::vector<std::string>& urls);
  void SetDefaultLink(const std::string& address) { Set(lbs_key::kDefaultLink, address); }
  void SetVltDL(const std::string& url) { Set(lbs_key::kVltDL, url); }
  void SetVltDLList(const std::string& json_text) { Set(lbs_key::kVltDLList, json_text); }
  void SetVltList(const std::string& json_text) { Set(lbs_key::kVltList, json_text); }
  void SetName(const std::string& name) { Set(lbs_key::kName, name); }
  void SetDesc(const std::string& desc) { Set(lbs_key::kDesc, desc); }
  void SetMsgStatInfo(const std::string& json_text) { Set(lbs_key::kMsgStatInfo, json_text); }

  void SetFetchedAt(const std::string& wall_ms) { Set(lbs_key::kFetchedAt, wall_ms); }

  // Returns an empty text for an absent key.
  std::string Get(const char* key) const { return store_.Get(key); }
  void Save() { store_.Save(); }

 private:
  void Set(const char* key, const std::string& value);

  zo_base::KeyValueFile store_;
};

}  // namespace zo_sturdy
