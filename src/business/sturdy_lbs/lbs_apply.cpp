// From the text of a document to active data: receive, judge, apply, save.
#include "base/log/log.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

namespace {

constexpr int32_t kLinkHosts = 0;
constexpr int32_t kDefaultHosts = 1;

}  // namespace

bool ZOSturdyLBSServiceImpl::ParseLBSResponse(const std::string& rsp,
                                              const std::string& family_text) {
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
  const std::string default_link = ApplyHosts(*document);
  ZO_LOG(LV_APP) << "[lbs]ParseLBSResponse parsel result = true,update active lbs";
  SaveDocument(*document, rsp, family_text, default_link);
  if (const auto config = GetEnvironmentConfig()) {
    config->statistic_settings.Set(document->statistics);
  }
  return true;
}

// Gives the address taken from the default servers, empty if the document has none.
std::string ZOSturdyLBSServiceImpl::ApplyHosts(const LBSDocument& document) {
  const net::AddressFamily family = settings_.address_family;
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  host_choosers_.clear();
  for (const int32_t key : {kLinkHosts, kDefaultHosts}) {
    host_choosers_[key] = std::make_shared<HostChooser>(
        settings_.default_link_v4, settings_.default_link_v6, HostChooserLimit(key));
  }
  HostChooser& links = *host_choosers_[kLinkHosts];
  HostChooser& defaults = *host_choosers_[kDefaultHosts];
  if (document.link) {
    links.ResetHosts(*document.link);
  }
  link_host_count_ = static_cast<int32_t>(links.GetHostCount());
  if (!document.has_link_default) {
    return {};
  }
  if (document.link_default) {
    defaults.ResetHosts(*document.link_default);
  }
  std::string default_link;
  defaults.GetHost(family, default_link);
  if (!default_link.empty()) {
    links.SetDefaultHost(family, default_link);
  }
  return default_link;
}

void ZOSturdyLBSServiceImpl::SaveDocument(const LBSDocument& document, const std::string& rsp,
                                          const std::string& family_text,
                                          const std::string& default_link) {
  response_.SetCore(rsp, settings_.lbs_url, family_text);
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

void ZOSturdyLBSServiceImpl::ParseMsgStatInfo(const std::string& text) {
  MsgStatInfo info = *msg_stat_info_.Get();
  ParseMsgStatInfoText(text, info);
  msg_stat_info_.Set(info);
}

}  // namespace zo_sturdy
