#include "src/business/sturdy_lbs/link_hosts.h"

#include "base/log/log.h"
#include "net/ip_address.h"
#include "net/url.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "src/business/sturdy_lbs/lbs_settings.h"

namespace zo_sturdy {

namespace {

// Keys of the choosers.
constexpr int32_t kLinkHosts = 0;
constexpr int32_t kDefaultHosts = 1;

LinkAddress Split(const std::string& text) {
  LinkAddress address;
  int32_t port = 0;
  url::GetURLHostAndPort("http://" + text, address.host, port);
  address.port = static_cast<uint16_t>(port);
  net::GetIPFamily(address.host, address.family);
  return address;
}

void LogAddress(const LinkAddress& address) {
  switch (address.family) {
    case net::kIPFamilyV4:
      ZO_LOG(LV_APP) << "[lbs] Addr may be ipv4 " << address.host << ":" << address.port;
      break;
    case net::kIPFamilyV6:
      ZO_LOG(LV_APP) << "[lbs] Addr may be ipv6 " << address.host << ":" << address.port;
      break;
    case net::kIPFamilyAny:
      // Passed as a C text, which the log replaces by a note if it is empty.
      ZO_LOG(LV_APP) << "[lbs] Addr may be domain " << address.host.c_str() << ":" << address.port;
      break;
  }
}

}  // namespace

std::string LinkHosts::Reset(const LBSDocument& document) {
  const net::AddressFamily family = settings_.address_family;
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  // Fill new choosers, so that the old ones stay if there is no memory.
  decltype(host_choosers_) choosers;
  for (const int32_t key : {kLinkHosts, kDefaultHosts}) {
    choosers[key] = std::make_shared<HostChooser>(settings_.default_link_v4,
                                                  settings_.default_link_v6, HostChooserLimit(key));
  }
  HostChooser& links = *choosers[kLinkHosts];
  HostChooser& defaults = *choosers[kDefaultHosts];
  if (document.link) {
    links.ResetHosts(*document.link);
  }
  // Take one default server from the other chooser: it becomes the default of the first.
  std::string default_link;
  if (document.has_link_default) {
    if (document.link_default) {
      defaults.ResetHosts(*document.link_default);
    }
    defaults.GetHost(family, default_link);
    if (!default_link.empty()) {
      links.SetDefaultHost(family, default_link);
    }
  }
  link_host_count_ = static_cast<int32_t>(links.GetHostCount());
  host_choosers_.swap(choosers);
  return default_link;
}

LinkAddress LinkHosts::Next(net::AddressFamily family, const std::function<void()>& on_default) {
  // Held to the end, so that the log lines of one choice stay together.
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  ZO_LOG(LV_APP) << "[lbs] Get link address addr_family = " << family;
  std::string text;
  const bool is_default = host_choosers_.at(kLinkHosts)->GetHost(family, text);
  ZO_LOG(LV_APP) << "[lbs] Get link address " << text << " use default:" << is_default;
  LinkAddress address = Split(text);
  LogAddress(address);
  if (is_default) {
    ZO_LOG(LV_APP) << "[lbs] Use default link addr,need update lbs ";
    on_default();
  }
  return address;
}

std::optional<LinkAddress> LinkHosts::Peek() {
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  const std::string text = host_choosers_.at(kLinkHosts)->GetCurrentHost();
  return text.empty() ? std::nullopt : std::optional(Split(text));
}

void LinkHosts::Hold(const char* ip, int16_t port) {
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  HostChooser& links = *host_choosers_.at(kLinkHosts);
  // A port above 32767 arrives negative and keeps its sign.
  links.HoldHost(ip, static_cast<uint32_t>(int32_t{port}));
  const std::string held = ip + (":" + std::to_string(port));
  ZO_LOG(LV_APP) << "[lbs] Hold link address " << held
                 << " found:" << (links.GetCurrentHost() == held);
}

}  // namespace zo_sturdy
