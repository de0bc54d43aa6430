#include "src/sturdy/http_agent/http_dns/host_resolver.h"

#include <algorithm>

#include "base/log/log.h"
#include "base/thread/clock.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "base/thread/thread_info.h"
#include "net/ip_address.h"
#include "network/http_status.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/host_item.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {
namespace {

using dns_key::kIPv6;
using KRBASE::network::kStatusOk;
using zo_base::json11::Json;

// Bounds of the lease that a loaded entry gets. An entry with less time left than the first is
// stale: the next query serves and refreshes it.
constexpr int64_t kShortestLeaseMs = 3000;
constexpr int64_t kLongestLeaseMs = 300000;

std::string Joined(const std::vector<std::string>& texts, char separator) {
  std::string joined;
  for (const std::string& text : texts) {
    if (&text != &texts.front()) {
      joined += separator;
    }
    joined += text;
  }
  return joined;
}

bool IsGoodAnswer(const Json& json) {
  return json["code"].int_value() == kStatusOk;
}

bool JudgeHostResponse(int32_t code, const std::string& body, bool& need_statistic) {
  need_statistic = false;
  if (code != kStatusOk) {
    need_statistic = true;
    return false;
  }
  if (IsGoodAnswer(ParseJson(body))) {
    return true;
  }
  ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip response res = false for body error"
                 << zo_base::Framed{body, "body:\r\n"};
  need_statistic = true;
  return false;
}

void LogQuery(net::AddressFamily ip_family, const std::vector<std::string>& hosts) {
  std::string list;
  for (const std::string& host : hosts) {
    list.append("host :").append(host).append("\r\n");
  }
  ZO_LOG(LV_APP) << "[http dns] DoQuery ip_family: " << static_cast<int32_t>(ip_family)
                 << "\r\nhost list :\r\n-----------------------------\r\n"
                 << list << "-----------------------------";
}

void LogServed(const std::string& host, CacheState state, const std::vector<std::string>& ips) {
  ZO_LOG(LV_APP) << "[http dns] Check cached host: " << host
                 << " res: " << static_cast<int32_t>(state) << " ret:" << Joined(ips, '|');
}

void LogMissing(const std::string& host) {
  ZO_LOG(LV_APP) << "[http dns] Check cached host: " << host
                 << " res: " << static_cast<int32_t>(CacheState::kCacheMissing);
}

}  // namespace

HostResolver::HostResolver(HttpDNSManager& manager, ServiceAddressTable& endpoints)
    : manager_(manager), endpoints_(endpoints) {}

void HostResolver::EndQueries() {
  queries_.End();
}

// --- On the caller's thread ---

bool HostResolver::DoQuery(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
                           HostIPMap& results, bool is_retry) {
  LogQuery(ip_family, hosts);
  results.clear();
  // Refuse a query on the manager's thread, which would wait for itself, and any query after the
  // end.
  const zo_base::ThreadInfo* caller = zo_base::CurrentThreadInfo();
  if (caller != nullptr && caller->task_loop == manager_.GetTaskLoop()) {
    ZO_LOG(LV_APP) << "[http dns] DoQuery on the manager's own thread,return";
    return false;
  }
  if (queries_.HasEnded()) {
    return false;
  }
  // Serve the cached hosts; in a retry, the fresh ones only. List the stale and the missing ones.
  std::vector<std::string> async_hosts;
  std::vector<std::string> sync_hosts;
  for (const std::string& host : hosts) {
    std::vector<std::string> ips;
    const CacheState state = host_cache_.CheckHost(ip_family, host, ips);
    if (state != CacheState::kCacheFresh && is_retry) {
      continue;
    }
    if (state == CacheState::kCacheMissing) {
      sync_hosts.push_back(host);
      LogMissing(host);
      continue;
    }
    if (state == CacheState::kCacheStale) {
      async_hosts.push_back(host);
    }
    std::list<std::string>& result = results[host];
    result.insert(result.end(), ips.begin(), ips.end());
    LogServed(host, state, ips);
  }
  // Wait for the missing hosts first, then refresh the stale ones in the background.
  if (!sync_hosts.empty() && !UpdateAndWait(ip_family, sync_hosts, results)) {
    results.clear();
    return false;
  }
  if (!async_hosts.empty()) {
    ZO_LOG(LV_APP) << "[http dns] Check cached need update type = async host list : "
                   << Joined(async_hosts, '|');
    UpdateCache(async_hosts, ip_family);
  }
  return !results.empty();
}

// Returns false if the queries were ended meanwhile.
bool HostResolver::UpdateAndWait(net::AddressFamily ip_family,
                                 const std::vector<std::string>& hosts, HostIPMap& results) {
  ZO_LOG(LV_APP) << "[http dns] Check cached need update type = sync host list : "
                 << Joined(hosts, '|');
  // If the request is lost, or the queries are ended, the cache is as it was.
  UpdateCache(hosts, ip_family).get();
  if (queries_.HasEnded()) {
    return false;
  }
  ZO_LOG(LV_APP) << "[http dns] Sync update return,do query agin";
  HostIPMap updated;
  DoQuery(ip_family, hosts, updated, true);
  results.insert(updated.begin(), updated.end());
  return true;
}

std::future<bool> HostResolver::UpdateCache(const std::vector<std::string>& hosts,
                                            net::AddressFamily ip_family) {
  QueryPromises::Query query = queries_.Make();
  if (query.promise != nullptr) {
    zo_base::PostTo(manager_,
                    manager_.ToWeakClosure([this, hosts, ip_family, promise = query.promise] {
                      RequestHosts(hosts, ip_family, promise);
                    }));
  }
  return std::move(query.future);
}

// --- On the manager's thread ---

void HostResolver::RequestHosts(const std::vector<std::string>& hosts, net::AddressFamily ip_family,
                                const QueryPromises::Promise& promise) {
  if (queries_.HasEnded()) {
    return;  // an exit would wait for the transfer
  }
  const auto loop = manager_.GetTaskLoop();
  MultipleURLHttpRequest request;
  request.use_http_dns = false;
  BuildHostQueryURLs(hosts, endpoints_.GetServiceAddresses(ip_family), request.urls);
  request.check = zo_base::ForAnyThread(
      manager_, loop,
      [](int32_t /*index*/, int32_t code, const std::string& /*headers*/, const std::string& body,
         bool& need_statistic) { return JudgeHostResponse(code, body, need_statistic); });
  request.callback = zo_base::ForAnyThread(
      manager_, loop,
      [this, hosts, promise](bool success, const std::string& headers, const std::string& body) {
        CompleteHostQuery(hosts, success, headers, body, *promise);
      });
  ZO_LOG(LV_APP) << "[http dns] Begin query hosts`s ips";
  manager_.SendMultipleURLRequest(request, false);
}

void HostResolver::BuildHostQueryURLs(const std::vector<std::string>& hosts,
                                      const std::vector<ServiceAddress>& addresses,
                                      std::vector<URLItem>& urls) {
  std::string path = "/httpdns/v2/d?domain";
  if (!hosts.empty()) {
    path.append("=").append(Joined(hosts, ','));
  }
  AppendServiceUrls(addresses, endpoints_.GetServiceDomain(), path, urls);
}

void HostResolver::CompleteHostQuery(const std::vector<std::string>& hosts, bool success,
                                     const std::string& headers, const std::string& body,
                                     QueryPromise& promise) {
  ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip success = " << success << zo_base::Framed{body};
  try {
    if (success) {
      ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip success";
      ApplyHostResponse(headers, body, hosts);
    } else {
      ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip fail";
    }
    if (!promise.Answer(success)) {
      ZO_LOG(LV_APP) << "[http dns] Sync update,future_error exception";
    }
  } catch (...) {
    ZO_LOG(LV_APP) << "[http dns] Sync update,exception";
  }
}

bool HostResolver::ApplyHostResponse(const std::string& /*headers*/, const std::string& body,
                                     const std::vector<std::string>& asked) {
  const Json json = ParseJson(body);
  if (!IsGoodAnswer(json) || json.object_items().count("data") == 0) {
    return false;
  }
  bool result = false;
  bool has_dropped = false;
  for (const auto& member : json["data"].object_items()) {
    // Read the host.
    const std::string& host = member.first;
    const Json& value = member.second;
    const int64_t now = zo_base::Clock::WallMs();
    const std::vector<std::string> ipv4 = TextsOf(value["ip"]);
    std::vector<std::string> ipv6 = TextsOf(value[kIPv6]);
    for (std::string& address : ipv6) {
      address = net::InBrackets(address);
    }
    result = !ipv4.empty() || !ipv6.empty();
    // Keep it. Make room for each host that was asked for, but only once for all others: an answer
    // may list many, and each time walks over the whole cache.
    const bool is_asked = std::find(asked.begin(), asked.end(), host) != asked.end();
    const auto keep = [&] {
      return host_cache_.UpdateHost(host, now, TtlMs<int32_t>(value), ipv4, ipv6, false,
                                    is_asked ? HostSource::kAsked : HostSource::kUnasked);
    };
    if (!keep() && (is_asked || !has_dropped)) {
      has_dropped = true;
      host_cache_.DropMissing();
      keep();
    }
  }
  SaveHostCache();
  return result;
}

// --- The cache's file ---

bool HostResolver::LoadHostCache(const std::string& folder) {
  if (folder.empty()) {
    return true;
  }
  host_cache_file_.Load(folder + "http_dns_cache.data");
  host_cache_file_.ForEach(
      [this](const std::string& host, const zo_base::KeyValueFile::Value& value) {
        LoadHostItem(host, zo_base::ZOAnyCast<std::string>(std::get<zo_base::ZOAny>(value)));
      });
  return true;
}

void HostResolver::LoadHostItem(const std::string& host, const std::string& text) {
  const HostItem item = ReadHostItem(text);
  const int64_t now = zo_base::Clock::WallMs();
  const int64_t remaining = SaturatingSubtract(item.expired_ms.value_or(now), now);
  const bool stale_from_start = remaining < kShortestLeaseMs;
  const int64_t lease_ms = std::clamp(remaining, kShortestLeaseMs, kLongestLeaseMs);
  host_cache_.UpdateHost(host, now, static_cast<int32_t>(lease_ms), item.ipv4, item.ipv6,
                         stale_from_start, HostSource::kFile);
}

// The lock serializes saves: answers may arrive on different threads.
void HostResolver::SaveHostCache() {
  const zo_base::MutexLock lock(save_mutex_);
  host_cache_file_.Clear();  // drop the entries that the cache refused when they were loaded
  for (const auto& [host, entry] : host_cache_.GetEntries()) {
    host_cache_file_.Set(host, zo_base::ZOAny(HostItemText(entry)), zo_base::SVT::kString);
  }
  host_cache_file_.Save();
}

}  // namespace zo_sturdy
