#include "src/sturdy/http_agent/http_dns/service_directory.h"

#include <algorithm>
#include <limits>

#include "base/built_in_values.h"
#include "base/log/log.h"
#include "base/thread/clock.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "net/ip_address.h"
#include "network/http_status.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/config/lost_request_notice.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"
#include "src/sturdy/http_agent/http_dns/service_cache.h"
#include "src/sturdy/http_agent/http_dns/update_pause.h"

namespace zo_sturdy {
namespace {

using dns_key::kHost;
using dns_key::kIPv4;
using dns_key::kIPv6;
using dns_key::kTtl;
using KRBASE::network::kStatusOk;
using service_cache_key::kExpiredTime;
using service_cache_key::kUpdatedAt;
using zo_base::json11::Json;

// The lifetime of the built-in endpoints. Nothing waits for it: they count as expired at once.
constexpr int64_t kDefaultTtl = 3600;
// A table with less time left than this is updated at once.
constexpr int64_t kLeastLeftMs = 2001;

// Returns an empty text if the build has no endpoint of the family.
template <size_t kCount>
std::string DefaultEndpoints(const char* const (&hosts)[kCount]) {
  Json::array endpoints;
  for (const char* host : hosts) {
    if (*host != '\0') {
      endpoints.push_back(Json::object{{"host", host}, {"port", kHttpDnsPort}, {"https", true}});
    }
  }
  return endpoints.empty() ? "" : Json(endpoints).dump();
}

// A timer waits for 24 days at most. A negative delay has passed already.
uint32_t TimerDelayMs(int64_t delay_ms) {
  return static_cast<uint32_t>(
      std::clamp<int64_t>(delay_ms, 0, std::numeric_limits<int32_t>::max()));
}

}  // namespace

ServiceDirectory::ServiceDirectory(HttpDNSManager& manager)
    : manager_(manager), timer_(std::make_shared<zo_base::Timer>(manager.GetTaskLoop())) {}

void ServiceDirectory::BuildRequestHeaders() {
  request_headers_.clear();
  const auto config = manager_.GetEnvironmentConfig();
  if (config == nullptr) {
    return;
  }
  request_headers_.push_back("X-QORVIN-BUSINESS : " + config->business);
  request_headers_.push_back("X-QORVIN-SDKVER : " + config->sdk_version_text + "_" +
                             std::to_string(config->tp) + "_" + std::to_string(config->sv));
  request_headers_.push_back("X-QORVIN-APPKEY : " + config->GetBusinessToken());
}

// --- The table and its file ---

void ServiceDirectory::LoadServerCache(const std::string& folder) {
  if (folder.empty()) {
    ResetServerCache(false);
    return;
  }
  server_cache_file_.Load(folder + "http_server_cache.data");
  if (!IsUsableServiceCache(server_cache_file_)) {
    ResetServerCache(true);
  }
}

void ServiceDirectory::ResetServerCache(bool save) {
  SetServerValue(kHost, kDefaultHttpDnsDomain);
  if (const std::string ipv4 = DefaultEndpoints(kDefaultHttpDnsIPv4); !ipv4.empty()) {
    SetServerValue(kIPv4, ipv4);
  }
  if (const std::string ipv6 = DefaultEndpoints(kDefaultHttpDnsIPv6); !ipv6.empty()) {
    SetServerValue(kIPv6, ipv6);
  }
  SetServerValue(kTtl, std::to_string(kDefaultTtl));
  const std::string now = std::to_string(zo_base::Clock::WallMs());
  SetServerValue(kUpdatedAt, now);
  SetServerValue(kExpiredTime, now);
  if (save) {
    server_cache_file_.Save();
  }
}

void ServiceDirectory::SetServerValue(const char* key, const std::string& value) {
  server_cache_file_.Set(key, zo_base::ZOAny(value), zo_base::SVT::kString);
}

bool ServiceDirectory::InitInterfaceAddress() {
  const ServiceCache cache = ReadServiceCache(server_cache_file_);
  service_table_.ReplaceServiceAddresses(cache.host, cache.ipv4, cache.ipv6);
  // Post on the thread object, whose queue keeps the task until the thread runs.
  zo_base::PostTo(manager_, manager_.ToWeakClosure([this] { BeginUpdateCycle(); }));
  return true;
}

bool ServiceDirectory::UpdateServerCache(const Json& json) {
  // Read the answer.
  const std::string domain = json[kHost].string_value();
  const auto ttl_ms = TtlMs<int64_t>(json);
  const ServiceAddress missing{0, 0, ""};
  const std::vector<ServiceAddress> ipv4 = ReadEndpoints(json[kIPv4], missing);
  std::vector<ServiceAddress> ipv6 = ReadEndpoints(json[kIPv6], missing);
  for (ServiceAddress& endpoint : ipv6) {
    endpoint.host = net::InBrackets(endpoint.host);
  }
  // Save it in the server's own form. A family that it lacks keeps its old endpoints, and without a
  // usable host the old one stays.
  if (!UsableName(domain).empty()) {
    SetServerValue(kHost, domain);
  }
  SetServerValue(kTtl, std::to_string(ttl_ms));
  if (!ipv4.empty()) {
    SetServerValue(kIPv4, json[kIPv4].dump());
  }
  if (!ipv6.empty()) {
    SetServerValue(kIPv6, json[kIPv6].dump());
  }
  SetServerValue(kExpiredTime, std::to_string(SaturatingAdd(zo_base::Clock::WallMs(), ttl_ms)));
  server_cache_file_.Save();
  // Use it.
  service_table_.ReplaceServiceAddresses(domain, ipv4, ipv6);
  return true;
}

// --- The update cycle ---

void ServiceDirectory::BeginUpdateCycle() {
  const int64_t left =
      SaturatingSubtract(ServiceExpiredMs(server_cache_file_), zo_base::Clock::WallMs());
  if (left < kLeastLeftMs) {
    ZO_LOG(LV_APP) << "[http dns][init] expired_time - time_now <= 2000ms update now";
    DoReload(net::kIPFamilyAny);
    return;
  }
  ZO_LOG(LV_APP) << "[http dns][init] expired_time - time_now > 2000ms update after " << left
                 << "ms";
  ReloadAfter(left, "[http dns][init] Update S (ttl end)");
}

bool ServiceDirectory::DoReload(net::AddressFamily ip_family) {
  if (updatting_interface_) {
    ZO_LOG(LV_APP) << "[http dns] Update DNS -s updatting_interface_ = true,return";
    return true;
  }
  const auto loop = manager_.GetTaskLoop();
  // Make the notice first: whatever ends the following steps early fails the update.
  const auto notice = std::make_shared<LostRequestNotice>(
      zo_base::ForAnyThread(manager_, loop, [this] { CompleteServiceUpdate(false, ""); }));
  updatting_interface_ = true;
  // Address the service at each of its endpoints.
  MultipleURLHttpRequest request;
  request.use_http_dns = false;
  request.heads = request_headers_;
  request.ip_family = ip_family;
  AppendServiceUrls(service_table_.GetServiceAddresses(ip_family),
                    service_table_.GetServiceDomain(), "/httpdns/v2/s", request.urls);
  // Bind the answer, and send.
  request.check =
      zo_base::ForAnyThread(manager_, loop,
                            [this](int32_t index, int32_t code, const std::string& /*headers*/,
                                   const std::string& body, bool& need_statistic) {
                              return JudgeServiceResponse(index, code, body, need_statistic);
                            });
  request.callback = zo_base::ForAnyThread(
      manager_, loop,
      [this, notice](bool success, const std::string& /*headers*/, const std::string& body) {
        notice->Answered();
        CompleteServiceUpdate(success, body);
      });
  ZO_LOG(LV_APP) << "[http dns] Begin update service";
  manager_.SendMultipleURLRequest(request, true);
  return false;
}

bool ServiceDirectory::JudgeServiceResponse(int32_t index, int32_t code, const std::string& body,
                                            bool& need_statistic) {
  ZO_LOG(LV_APP) << "[http dns] Check response index:" << index << " code:" << code;
  need_statistic = false;
  if (code != kStatusOk) {
    ZO_LOG(LV_APP) << "[http dns] Check response res = false";
    need_statistic = true;
    return false;
  }
  if (CheckServiceResponseBody(ParseJson(body))) {
    ZO_LOG(LV_APP) << "[http dns] Check response res = true";
    return true;
  }
  ZO_LOG(LV_APP) << "[http dns] Check response res = false for body error"
                 << zo_base::Framed{body, "body:\r\n"};
  need_statistic = true;
  return false;
}

bool ServiceDirectory::CheckServiceResponseBody(const Json& json) {
  const Json::object& members = json.object_items();
  return members.count(kHost) != 0 && (members.count(kIPv4) != 0 || members.count(kIPv6) != 0) &&
         members.count(kTtl) != 0;
}

// Clears `updatting_interface_` before it sets up the next turn. Otherwise a turn that comes first,
// after a lifetime of 0, would find an update in flight and be the last one.
void ServiceDirectory::CompleteServiceUpdate(bool success, const std::string& body) {
  ZO_LOG(LV_APP) << "[http dns] Service update complete success = " << success;
  ZO_LOG(LV_PRO) << "[http dns] Service update complete " << zo_base::Framed{body};
  if (success) {
    update_fail_count_ = 0;
    const Json json = ParseJson(body);
    updatting_interface_ = false;
    zo_base::PostTo(manager_, manager_.ToWeakClosure([this, json] { ApplyServiceResponse(json); }));
    return;
  }
  int32_t fail_count = update_fail_count_;
  const int64_t pause_ms = PauseAfterFailure(fail_count);
  update_fail_count_ = fail_count;
  ZO_LOG(LV_APP) << "[http dns] Update fail redo after :" << pause_ms << "ms";
  updatting_interface_ = false;
  ReloadAfter(pause_ms, "[http dns] Update S by (fail)");
}

void ServiceDirectory::ApplyServiceResponse(const Json& json) {
  {
    const zo_base::MutexLock lock(timer_mutex_);
    if (timer_->HasUsedFlag()) {
      timer_->Cancel();
    }
  }
  UpdateServerCache(json);
  const int64_t ttl_ms = ServiceTtlMs(server_cache_file_);
  ZO_LOG(LV_APP) << "[http dns] Update success ttl : " << ttl_ms << " ms";
  ReloadAfter(ttl_ms, "[http dns] Update S (success)");
}

// The timer posts the reload, since a reload takes locks that a delayed task must not take.
void ServiceDirectory::ReloadAfter(int64_t delay_ms, const char* message) {
  const auto reload = manager_.ToWeakClosure([this, message] {
    ZO_LOG(LV_APP) << message;
    DoReload(net::kIPFamilyAny);
  });
  const zo_base::MutexLock lock(timer_mutex_);
  timer_->StartPosted(TimerDelayMs(delay_ms), reload, 0);
}

}  // namespace zo_sturdy
