// Which link server to connect to: the slots over the link chooser.
#include "base/log/log.h"
#include "net/ip_address.h"
#include "net/url.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

namespace zo_sturdy {

namespace {

constexpr int32_t kLinkHosts = 0;

struct LinkAddress {
  std::string host;
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;  // of a literal; a host name serves every family
};

LinkAddress Split(const std::string& text) {
  LinkAddress address;
  int32_t port = 0;
  url::GetURLHostAndPort("http://" + text, address.host, port);
  address.port = static_cast<uint16_t>(port);
  net::GetIPFamily(address.host, address.family);
  return address;
}

// The texts of the choosers are bounded, so that the host fits.
void Write(const LinkAddress& address, char* host, uint16_t* port, net::AddressFamily* family) {
  address.host.copy(host, address.host.size());
  *port = address.port;
  *family = address.family;
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
      // As a C text, which the log replaces if it is empty.
      ZO_LOG(LV_APP) << "[lbs] Addr may be domain " << address.host.c_str() << ":" << address.port;
      break;
  }
}

}  // namespace

bool ZOSturdyLBSServiceImpl::GetLinkAddress(char* host, uint16_t* port,
                                            net::AddressFamily* family) {
  if (host == nullptr || port == nullptr || family == nullptr || !serving_) {
    return false;
  }
  // Held to the end, so that the answer and its log lines stay together.
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  ZO_LOG(LV_APP) << "[lbs] Get link address addr_family = " << *family;
  std::string text;
  const bool is_default = host_choosers_.at(kLinkHosts)->GetHost(*family, text);
  ZO_LOG(LV_APP) << "[lbs] Get link address " << text << " use default:" << is_default;
  const LinkAddress address = Split(text);
  Write(address, host, port, family);
  LogAddress(address);
  if (is_default) {
    ZO_LOG(LV_APP) << "[lbs] Use default link addr,need update lbs ";
    update_invoker_.Invoke(ToWeakClosure([this] { UpdateLBS(settings_.address_family, false); }),
                           false);
  }
  return true;
}

bool ZOSturdyLBSServiceImpl::PeekLinkAddress(char* host, uint16_t* port,
                                             net::AddressFamily* family) {
  if (host == nullptr || port == nullptr || family == nullptr || !serving_) {
    return false;
  }
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  const std::string text = host_choosers_.at(kLinkHosts)->GetCurrentHost();
  if (text.empty()) {
    return false;
  }
  Write(Split(text), host, port, family);
  return true;
}

int32_t ZOSturdyLBSServiceImpl::GetLinkHostCount() {
  return serving_ ? link_host_count_.load() : 0;
}

void ZOSturdyLBSServiceImpl::HoldLinkAddress(const char* ip, int16_t port) {
  if (ip == nullptr || !serving_) {
    return;
  }
  const zo_base::RecursiveMutexLock lock(hosts_mutex_);
  // A port above 32767 has turned negative on its way, and keeps its sign.
  host_choosers_.at(kLinkHosts)->HoldHost(ip, static_cast<uint32_t>(int32_t{port}));
}

}  // namespace zo_sturdy
