// A host query. On the caller's thread the cache answers for each host: fresh ones are served,
// stale ones are served and asked for in the background, missing ones are asked for while the
// caller waits, and then looked up once more. On M one request asks for all hosts of a list; its
// answer goes into the cache and into the file.

#include "base/log/log.h"
#include "base/thread/clock.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "base/thread/thread_info.h"
#include "network/http_status.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {
namespace {

using KRBASE::network::kStatusOk;
using zo_base::json11::Json;

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
  std::string error;
  if (IsGoodAnswer(Json::parse(body, error))) {
    return true;
  }
  ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip response res = false for body error\r\n"
                    "-----------------------\r\nbody:\r\n"
                 << body << "\r\n-----------------------";
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

// --- On the caller's thread ---

bool HttpDNSManager::Query(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
                           HostIPMap& results) {
  return DoQuery(ip_family, hosts, results, false);
}

bool HttpDNSManager::DoQuery(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
                             HostIPMap& results, bool is_retry) {
  LogQuery(ip_family, hosts);
  results.clear();
  const zo_base::ThreadInfo* caller = zo_base::CurrentThreadInfo();
  if (caller != nullptr && caller->task_loop == GetTaskLoop()) {
    ZO_LOG(LV_APP) << "[http dns] DoQuery on the manager's own thread,return";
    return false;
  }
  if (queries_.HasEnded()) {
    return false;
  }
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

// False if the queries were ended meanwhile.
bool HttpDNSManager::UpdateAndWait(net::AddressFamily ip_family,
                                   const std::vector<std::string>& hosts, HostIPMap& results) {
  ZO_LOG(LV_APP) << "[http dns] Check cached need update type = sync host list : "
                 << Joined(hosts, '|');
  try {
    UpdateCache(hosts, ip_family).get();
  } catch (const std::future_error&) {
    // The request went nowhere, or the end came: the cache is as it was.
  }
  if (queries_.HasEnded()) {
    return false;
  }
  ZO_LOG(LV_APP) << "[http dns] Sync update return,do query agin";
  HostIPMap updated;
  DoQuery(ip_family, hosts, updated, true);
  results.insert(updated.begin(), updated.end());
  return true;
}

std::future<bool> HttpDNSManager::UpdateCache(const std::vector<std::string>& hosts,
                                              net::AddressFamily ip_family) {
  QueryPromises::Query query = queries_.Make();
  if (query.promise != nullptr) {
    zo_base::PostTo(*this, ToWeakClosure([this, hosts, ip_family, promise = query.promise] {
      RequestHosts(hosts, ip_family, promise);
    }));
  }
  return std::move(query.future);
}

// --- On M ---

void HttpDNSManager::RequestHosts(const std::vector<std::string>& hosts,
                                  net::AddressFamily ip_family,
                                  const QueryPromises::Promise& promise) {
  if (queries_.HasEnded()) {
    return;  // an exit would wait for the transfer
  }
  MultipleURLHttpRequest request = NewRequest();
  BuildHostQueryURLs(hosts, service_table_.GetServiceAddresses(ip_family), request.urls);
  request.check = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [](int32_t /*index*/, int32_t code, const std::string& /*headers*/, const std::string& body,
         bool& need_statistic) { return JudgeHostResponse(code, body, need_statistic); });
  request.callback = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [this, promise](bool success, const std::string& headers, const std::string& body) {
        CompleteHostQuery(success, headers, body, *promise);
      });
  ZO_LOG(LV_APP) << "[http dns] Begin query hosts`s ips";
  SendMultipleURLRequest(request, false);
}

void HttpDNSManager::BuildHostQueryURLs(const std::vector<std::string>& hosts,
                                        const std::vector<ServiceAddress>& addresses,
                                        std::vector<URLItem>& urls) {
  std::string path = "/httpdns/v2/d?domain";
  if (!hosts.empty()) {
    path.append("=").append(Joined(hosts, ','));
  }
  for (const ServiceAddress& address : addresses) {
    urls.push_back({ServiceUrl(address, path), service_table_.GetServiceDomain()});
  }
}

void HttpDNSManager::CompleteHostQuery(bool success, const std::string& headers,
                                       const std::string& body, std::promise<bool>& promise) {
  ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip success = " << success
                 << "\r\n-----------------------\r\n"
                 << body << "\r\n-----------------------";
  try {
    if (success) {
      ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip success";
      ApplyHostResponse(headers, body);
    } else {
      ZO_LOG(LV_APP) << "[http dns] Query hosts`s ip fail";
    }
    promise.set_value(success);
  } catch (const std::future_error&) {
    ZO_LOG(LV_APP) << "[http dns] Sync update,future_error exception";
  } catch (...) {
    ZO_LOG(LV_APP) << "[http dns] Sync update,exception";
  }
}

bool HttpDNSManager::ApplyHostResponse(const std::string& /*headers*/, const std::string& body) {
  std::string error;
  const Json json = Json::parse(body, error);
  if (!IsGoodAnswer(json) || json.object_items().count("data") == 0) {
    return false;
  }
  bool result = false;
  for (const auto& [host, value] : json["data"].object_items()) {
    const int64_t now = zo_base::Clock::WallMs();
    const std::vector<std::string> ipv4 = TextsOf(value["ip"]);
    std::vector<std::string> ipv6 = TextsOf(value[dns_key::kIPv6]);
    for (std::string& address : ipv6) {
      address = InBrackets(address);
    }
    int32_t ttl_ms = kUnstatedTtlMs;
    if (value.object_items().count(dns_key::kTtl) != 0) {
      ttl_ms =
          SaturatingWhole<int32_t>(value[dns_key::kTtl].number_value() * zo_base::kMsPerSecond);
    }
    host_cache_.UpdateHost(host, now, ttl_ms, ipv4, ipv6, false);
    result = !ipv4.empty() || !ipv6.empty();
  }
  SaveHostCache();
  return result;
}

}  // namespace zo_sturdy
