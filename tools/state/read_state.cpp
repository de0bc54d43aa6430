#include "tools/state/read_state.h"

#include <algorithm>
#include <utility>

#include "base/decimal.h"
#include "base/key_value_file.h"
#include "base/thread/clock.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "src/business/sturdy_lbs/lbs_response.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/host_cache.h"
#include "src/sturdy/http_agent/http_dns/host_item.h"
#include "src/sturdy/http_agent/http_dns/service_address_table.h"
#include "src/sturdy/http_agent/http_dns/service_cache.h"
#include "tools/state/cache_file.h"

namespace client_state {

namespace {

namespace lbs_key = zo_sturdy::lbs_key;

// A file can have any number as a time. Bounds it, so that differences of times don't overflow.
int64_t Bounded(int64_t time_ms) {
  constexpr int64_t kFarMs = int64_t{1} << 61;
  return std::clamp(time_ms, -kFarMs, kFarMs);
}

bool IsGood(const CacheFile& file) {
  return file.condition == CacheFile::Condition::kGood;
}

DocumentState ReadDocument(const std::string& path) {
  DocumentState state;
  state.file = InspectCacheFile(path);
  if (!IsGood(state.file)) {
    return state;
  }
  // Read it as a start does.
  zo_sturdy::LBSResponse response;
  const bool has_all = response.ReadCache(path);
  const std::string text = response.Get(lbs_key::kResponse);
  const bool is_complete = response.CheckResponse(text);
  state.is_usable = has_all && is_complete;
  state.root_url = response.Get(lbs_key::kRootAddress);
  state.family = response.CachedFamily();
  state.fetch_urls = response.GetFetchUrls();
  if (const auto fetched = response.Get(lbs_key::kFetchedAt); !fetched.empty()) {
    state.fetched_ms = zo_base::LeadingDigits<int64_t>(fetched);
  }
  if (auto document = zo_sturdy::ReadLBSDocument(text)) {
    state.links = std::move(document->link).value_or(std::vector<std::string>());
    state.defaults = std::move(document->link_default).value_or(std::vector<std::string>());
  }
  // Say what it lacks.
  for (const char* key : {lbs_key::kResponse, lbs_key::kRootAddress, lbs_key::kRuntimeAddress}) {
    if (response.Get(key).empty()) {
      state.file.faults.push_back({key, std::nullopt, "missing"});
    }
  }
  const size_t faults = state.file.faults.size();
  InspectMember(lbs_key::kResponse, text, state.file);
  if (!text.empty() && !is_complete && state.file.faults.size() == faults) {
    state.file.faults.push_back(
        {lbs_key::kResponse, std::nullopt, "a document without link, link.default or lbs"});
  }
  InspectMember(lbs_key::kBackupAddresses, response.Get(lbs_key::kBackupAddresses), state.file);
  return state;
}

EndpointsState ReadEndpoints(const std::string& path) {
  namespace dns_key = zo_sturdy::dns_key;
  EndpointsState state;
  state.file = InspectCacheFile(path);
  if (!IsGood(state.file)) {
    return state;
  }
  zo_base::KeyValueFile file;
  file.Load(path);
  state.is_usable = zo_sturdy::IsUsableServiceCache(file);
  state.ttl_ms = zo_sturdy::ServiceTtlMs(file);
  state.expired_ms = Bounded(zo_sturdy::ServiceExpiredMs(file));
  for (const char* key : {dns_key::kIPv4, dns_key::kIPv6}) {
    InspectMember(key, file.Get(key), state.file);
  }
  if (!state.is_usable) {
    const bool has_name = !zo_sturdy::UsableName(file.Get(dns_key::kHost)).empty();
    state.file.faults.push_back(
        {has_name ? dns_key::kIPv4 : dns_key::kHost, std::nullopt, "missing or not usable"});
    return state;
  }
  // List the requests of an update in their order.
  const zo_sturdy::ServiceCache cache = zo_sturdy::ReadServiceCache(file);
  zo_sturdy::ServiceAddressTable table;
  table.ReplaceServiceAddresses(cache.host, cache.ipv4, cache.ipv6);
  state.name = table.GetServiceDomain();
  std::vector<zo_sturdy::URLItem> urls;
  zo_sturdy::AppendServiceUrls(table.GetServiceAddresses(net::kIPFamilyAny), state.name, "", urls);
  for (zo_sturdy::URLItem& item : urls) {
    state.urls.push_back(std::move(item.url));
  }
  return state;
}

HostState ReadHost(const std::string& name, const std::string& text, int64_t now_ms) {
  const zo_sturdy::HostItem item = zo_sturdy::ReadHostItem(text);
  const int64_t gone_ms = item.expired_ms.value_or(now_ms);
  // Give the entry the lease that it had when it was written.
  zo_sturdy::HostCache cache;
  const int64_t begin_ms = zo_sturdy::SaturatingSubtract(gone_ms, zo_sturdy::ServedMs(item.ttl_ms));
  cache.UpdateHost(name, begin_ms, item.ttl_ms, item.ipv4, item.ipv6, false,
                   zo_sturdy::HostSource::kFile);
  std::vector<std::string> served;
  const zo_sturdy::CacheState kind = cache.CheckHost(net::kIPFamilyAny, name, served);
  const zo_sturdy::HostEntry entry = cache.GetEntries()[name];
  HostState state;
  state.name = name;
  state.kind = kind == zo_sturdy::CacheState::kCacheFresh   ? HostState::Kind::kFresh
               : kind == zo_sturdy::CacheState::kCacheStale ? HostState::Kind::kStale
                                                            : HostState::Kind::kGone;
  state.addresses = entry.ipv4;
  state.addresses.insert(state.addresses.end(), entry.ipv6.begin(), entry.ipv6.end());
  state.stale_ms = Bounded(entry.refresh_time);
  state.gone_ms = Bounded(gone_ms);
  return state;
}

HostsState ReadHosts(const std::string& path, int64_t now_ms) {
  HostsState state;
  state.file = InspectCacheFile(path);
  if (!IsGood(state.file)) {
    return state;
  }
  zo_base::KeyValueFile file;
  file.Load(path);
  std::map<std::string, std::string> texts;
  file.ForEach([&](const std::string& name, const zo_base::KeyValueFile::Value& value) {
    texts[name] = zo_base::ZOAnyCast<std::string>(std::get<zo_base::ZOAny>(value));
  });
  for (const auto& [name, text] : texts) {
    InspectMember(name, text, state.file);
    state.hosts.push_back(ReadHost(name, text, now_ms));
  }
  return state;
}

}  // namespace

ClientState ReadState(const std::string& folder) {
  ClientState state;
  state.folder = folder;
  state.now_ms = zo_base::Clock::WallMs();
  state.document = ReadDocument(folder + "/lbs/lbs.data");
  state.endpoints = ReadEndpoints(folder + "/http_dns/http_server_cache.data");
  state.hosts = ReadHosts(folder + "/http_dns/http_dns_cache.data", state.now_ms);
  return state;
}

}  // namespace client_state
