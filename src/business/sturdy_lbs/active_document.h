#pragma once

#include <memory>
#include <string>

#include "base/sync/snapshot.h"
#include "src/business/sturdy_lbs/lbs_response.h"
#include "src/business/sturdy_lbs/link_hosts.h"
#include "src/business/sturdy_lbs/msg_stat_info.h"

namespace zo_sturdy {

class _EnvironmentConfig;
struct LBSDocument;
struct LBSSettings;

// The LBS document that the service answers from: its cache file, its link servers and its rules of
// message statistics. The rules of failure statistics go to the configuration.
//
// Threads: any may read. Load runs before all else; the service applies one document at a time.
// Owner:   the LBS service, which also owns `settings`.
// Errors:  Apply refuses a document without "common"; the log says so.
class ActiveDocument {
 public:
  explicit ActiveDocument(const LBSSettings& settings);

  // Applies the cached document, or one made of the settings if the cache is absent, incomplete or
  // of other settings.
  void Load(const std::shared_ptr<_EnvironmentConfig>& config);

  // Makes a document active and saves it. False, with the old one kept, if it has no "common".
  bool Apply(const std::string& rsp, const std::string& family_text);

  // The same for a document that has just been fetched: the cache gets its time.
  bool ApplyFetched(const std::string& rsp, const std::string& family_text);

  void ParseMsgStatInfo(const std::string& text);

  const LBSResponse& response() const { return response_; }
  LinkHosts& links() { return links_; }
  _ZOSturdyMsgStatInfo MsgStatRecord() const { return MsgStatInfoRecord(*msg_stat_info_.Get()); }

 private:
  // Loads the cache. Resets the data to the defaults if the cache can't be used. Logs which, and
  // why.
  void LoadOrReset();
  void Save(const LBSDocument& document, const std::string& rsp, const std::string& family_text,
            const std::string& default_link);

  const LBSSettings& settings_;
  LBSResponse response_;
  LinkHosts links_;
  zo_base::Snapshot<MsgStatInfo> msg_stat_info_;
};

}  // namespace zo_sturdy
