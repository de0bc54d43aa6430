#include "src/sturdy/http_agent/logic/second_pass.h"

#include "base/log/log.h"
#include "net/ip_address.h"
#include "net/url.h"

namespace zo_sturdy {
namespace {

std::string WithAddress(std::string url, const std::string& host, const std::string& address) {
  const size_t at = url.find(host);
  return at == std::string::npos ? url : url.replace(at, host.size(), address);
}

}  // namespace

NamedHosts GatherNamedHosts(const std::vector<URLItem>& urls) {
  NamedHosts named;
  for (const URLItem& item : urls) {
    const std::string host = url::GetURLHost(item.url, false);
    if (net::IsIPLiteral(host)) {
      continue;
    }
    std::vector<std::string>& urls_of_host = named.urls[host];
    if (urls_of_host.empty()) {
      named.hosts.push_back(host);
    }
    urls_of_host.push_back(item.url);
  }
  return named;
}

MultipleURLHttpRequest MakeSecondPass(const MultipleURLHttpRequest& failed, const NamedHosts& named,
                                      const HostIPMap& addresses) {
  MultipleURLHttpRequest second = failed;
  second.use_http_dns = false;
  second.urls.clear();
  // Every loop ends at the bound.
  const auto is_full = [&second] { return second.urls.size() >= kMaxSecondPassUrls; };
  for (const auto& [host, list] : addresses) {
    if (is_full()) {
      break;
    }
    ZO_LOG(LV_APP) << "[multiple]User http dns, host:" << host << "ip list:";
    const auto urls = named.urls.find(host);
    for (const std::string& address : list) {
      if (is_full()) {
        break;
      }
      ZO_LOG(LV_APP) << "[multiple]User http dns, ------" << address;
      if (urls == named.urls.end()) {
        continue;
      }
      for (const std::string& url : urls->second) {
        if (is_full()) {
          break;
        }
        second.urls.push_back({WithAddress(url, host, address), host});
      }
    }
  }
  return second;
}

}  // namespace zo_sturdy
