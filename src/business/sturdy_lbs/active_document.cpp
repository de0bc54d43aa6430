#include "src/business/sturdy_lbs/active_document.h"

#include <optional>

#include "base/decimal.h"
#include "base/log/log.h"
#include "base/thread/clock.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "src/business/sturdy_lbs/lbs_settings.h"
#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

ActiveDocument::ActiveDocument(const LBSSettings& settings)
    : settings_(settings), links_(settings), msg_stat_info_(MsgStatInfo()) {}

void ActiveDocument::Load(const std::shared_ptr<_EnvironmentConfig>& config) {
  response_.SetEnvironmentConfig(config);
  LoadOrReset();
  ParseMsgStatInfo(response_.Get(lbs_key::kMsgStatInfo));  // the document may say nothing of it
  Apply(response_.Get(lbs_key::kResponse), response_.Get(lbs_key::kFamily));
}

void ActiveDocument::LoadOrReset() {
  const char* refusal = nullptr;
  if (!response_.LoadCache()) {
    refusal = response_.HasCacheFile() ? "damaged" : "missing";
  } else if (!response_.CheckCache(settings_)) {
    refusal =
        response_.Get(lbs_key::kRootAddress) == settings_.lbs_url ? "other_family" : "other_url";
  } else if (!response_.CheckResponse(response_.Get(lbs_key::kResponse))) {
    refusal = "incomplete";
  }
  if (refusal != nullptr) {
    ZO_LOG(LV_APP) << "[lbs] First document from settings cache:" << refusal;
    response_.ResetToDefault(settings_, true);
    return;
  }
  const std::string fetched_at = response_.Get(lbs_key::kFetchedAt);
  if (fetched_at.empty()) {
    ZO_LOG(LV_APP) << "[lbs] First document from cache fetched:never";
  } else {
    ZO_LOG(LV_APP) << "[lbs] First document from cache fetched:"
                   << zo_base::Clock::WallMs() - zo_base::LeadingDigits<int64_t>(fetched_at)
                   << " ms ago";
  }
}

bool ActiveDocument::ApplyFetched(const std::string& rsp, const std::string& family_text) {
  response_.SetFetchedAt(std::to_string(zo_base::Clock::WallMs()));
  return Apply(rsp, family_text);
}

bool ActiveDocument::Apply(const std::string& rsp, const std::string& family_text) {
  ZO_LOG(LV_APP) << "[lbs]ParseLBSResponse rsp:\r\n--------------------------\r\n"
                 << rsp << "\r\n--------------------------";
  if (rsp.empty()) {
    return false;
  }
  const std::optional<LBSDocument> document = ReadLBSDocument(rsp);
  if (!document) {
    ZO_LOG(LV_APP) << "[lbs]ParseLBSResponse parsel result = false,use old rsp as active lbs";
    return false;
  }
  const std::string default_link = links_.Reset(*document);
  ZO_LOG(LV_APP) << "[lbs]ParseLBSResponse parsel result = true,update active lbs";
  Save(*document, rsp, family_text, default_link);
  if (const auto config = response_.GetEnvironmentConfig()) {
    config->statistic_settings.Set(document->statistics);
  }
  return true;
}

void ActiveDocument::Save(const LBSDocument& document, const std::string& rsp,
                          const std::string& family_text, const std::string& default_link) {
  // The keys that every document sets.
  response_.SetCore(rsp, settings_.lbs_url, family_text);
  // The others: a value that the document lacks stays as it was.
  if (!document.lbs.empty()) {
    response_.SetRuntimeLBS(document.lbs);
  }
  if (!document.lbs_backup.empty()) {
    response_.SetBackupLBS(document.lbs_backup);
  }
  response_.SetDefaultLink(default_link);
  if (!document.vltdl.empty()) {
    response_.SetVltDL(document.vltdl);
  }
  if (!document.vltdls.empty()) {
    response_.SetVltDLList(document.vltdls);
  }
  if (!document.vlt.empty()) {
    response_.SetVltList(document.vlt);
  }
  if (!document.name.empty()) {
    response_.SetName(document.name);
  }
  if (!document.desc.empty()) {
    response_.SetDesc(document.desc);
  }
  // The record of the message statistics, read back from its stored text.
  if (document.msg_stat_enable) {
    MsgStatInfo info;
    info.enable = *document.msg_stat_enable;
    info.host = document.statistics.host;
    info.desc = document.desc;
    response_.SetMsgStatInfo(MsgStatInfoText(info));
    ParseMsgStatInfo(response_.Get(lbs_key::kMsgStatInfo));
  }
  response_.Save();
}

void ActiveDocument::ParseMsgStatInfo(const std::string& text) {
  MsgStatInfo info = *msg_stat_info_.Get();
  ParseMsgStatInfoText(text, info);
  msg_stat_info_.Set(info);
}

}  // namespace zo_sturdy
