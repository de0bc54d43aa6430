#include "src/sturdy/http_agent/logic/http_agent.h"

#include <utility>

#include "base/json/json.h"
#include "base/log/log.h"
#include "base/object/signals.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "base/thread/thread_info.h"
#include "net/ip_address.h"
#include "network/http_client.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/http_agent/http_dns/http_dns_service.h"
#include "src/sturdy/http_agent/logic/multiple_url_request_helper.h"
#include "src/sturdy/http_agent/logic/second_pass.h"
#include "src/sturdy/http_agent/logic/statistic_count_timer_invoker.h"

namespace zo_sturdy {
namespace {

using zo_base::json11::Json;

constexpr int kHostIsAddress = 1;
constexpr int kHostNotResolved = 2;
constexpr int kResolved = 200;

std::string URLListText(const std::vector<URLItem>& urls) {
  std::string text =
      "Invoke send multiple url\r\n-----------------------\r\n"
      "url list:\r\n";
  for (const URLItem& item : urls) {
    text.append("host:").append(item.host).append(" url:").append(item.url).append("\r\n");
  }
  return text.append("-----------------------");
}

Json::object ByFamily(const std::list<std::string>& addresses) {
  Json::array ipv4;
  Json::array ipv6;
  for (const std::string& address : addresses) {
    net::AddressFamily family = net::kIPFamilyAny;
    if (net::GetIPFamily(address, family)) {
      (family == net::kIPFamilyV4 ? ipv4 : ipv6).push_back(address);
    }
  }
  Json::object data;
  if (!ipv4.empty()) {
    data["ipv4"] = std::move(ipv4);
  }
  if (!ipv6.empty()) {
    data["ipv6"] = std::move(ipv6);
  }
  return data;
}

}  // namespace

HttpAgent::~HttpAgent() {
  Stop();
}

void HttpAgent::Start() {
  start_flag.Call([this] {
    try {
      StartMembers();
    } catch (...) {
      Stop();
      throw;
    }
  });
}

// Before a thread starts, creates everything that its first request may need. "http_agent_work"
// starts last: its queue keeps the request that HTTP DNS posts when it starts.
void HttpAgent::StartMembers() {
  const auto thread = std::make_shared<zo_base::BaseThread>("http_agent_work");
  const auto statistics = std::make_shared<StatisticCountTimerInvoker>();
  const auto service = std::make_shared<HttpDNSService>();
  {
    zo_base::MutexLock lock(members_mutex);
    http_agent_thread = thread;
    statistic_invoker = statistics;
    http_dns_service = service;
  }
  statistics->Start();
  const auto config = GetEnvironmentConfig();
  if (config != nullptr) {
    config->SetHttpRequestInvoker(zo_base::ForAnyThread(
        *this, AgentLoop(), [this](const MultipleURLHttpRequest& request, bool on_agent_thread) {
          Invoke(request, on_agent_thread);
        }));
  }
  KRBASE::network::HttpClient::Instance()->Start();
  service->SetEnvironmentConfig(config);
  service->Start();
  thread->Start();
}

void HttpAgent::RequestStop() {
  if (const auto thread = AgentThread()) {
    thread->RequestStop();
  }
  if (const auto statistics = Statistics()) {
    statistics->RequestStop();
  }
  if (const auto service = DNSService()) {
    service->RequestStop();
  }
}

void HttpAgent::Stop() {
  RequestStop();
  if (const auto thread = AgentThread()) {
    thread->Stop();
    zo_base::MutexLock lock(members_mutex);
    http_agent_thread.reset();
  }
  if (const auto statistics = Statistics()) {
    statistics->Stop();
    zo_base::MutexLock lock(members_mutex);
    statistic_invoker.reset();
  }
  if (const auto service = DNSService()) {
    service->Stop();
    zo_base::MutexLock lock(members_mutex);
    http_dns_service.reset();
  }
}

std::shared_ptr<zo_base::BaseThread> HttpAgent::AgentThread() const {
  zo_base::MutexLock lock(members_mutex);
  return http_agent_thread;
}

std::shared_ptr<zo_base::ITaskLoop> HttpAgent::AgentLoop() const {
  const std::shared_ptr<zo_base::BaseThread> thread = AgentThread();
  return thread != nullptr ? thread->GetTaskLoop() : nullptr;
}

std::shared_ptr<HttpDNSService> HttpAgent::DNSService() const {
  zo_base::MutexLock lock(members_mutex);
  return http_dns_service;
}

std::shared_ptr<StatisticCountTimerInvoker> HttpAgent::Statistics() const {
  zo_base::MutexLock lock(members_mutex);
  return statistic_invoker;
}

void HttpAgent::Invoke(const MultipleURLHttpRequest& request, bool on_agent_thread) {
  const std::shared_ptr<zo_base::BaseThread> thread = on_agent_thread ? AgentThread() : nullptr;
  if (thread == nullptr) {
    InvokeMultipleURLHttpRequest(request);
    return;
  }
  zo_base::PostTo(*thread,
                  ToWeakClosure([this, request] { InvokeMultipleURLHttpRequest(request); }));
}

void HttpAgent::InvokeMultipleURLHttpRequest(const MultipleURLHttpRequest& request) {
  auto owned = std::make_unique<MultipleURLHttpRequestHelper>(request);
  MultipleURLHttpRequestHelper* const helper = owned.get();
  helper->Connect(MultipleURLHttpRequestHelper::SIG_ALL_SUB_REQUEST_RETURN,
                  zo_base::ForAnyThread(*this, AgentLoop(),
                                        [this, helper](bool success, const std::string& headers,
                                                       const std::string& body,
                                                       const MultipleURLHttpRequest& record) {
                                          CompleteRequest(helper, success, headers, body, record);
                                        }));
  ZO_LOG(LV_APP) << "[multiple]Invoke send multiple_time_out:" << request.multiple_time_out
                 << " time_out:" << request.time_out << " use http dns:" << request.use_http_dns;
  ZO_LOG(LV_APP) << "[multiple]" << URLListText(request.urls);
  if (!request.urls.empty()) {
    (void)owned.release();  // it owns itself from here on
  }
  helper->InvokeRequest();
}

void HttpAgent::CompleteRequest(MultipleURLHttpRequestHelper* helper, bool success,
                                const std::string& headers, const std::string& body,
                                const MultipleURLHttpRequest& request) {
  const std::shared_ptr<MultipleURLHttpRequestHelper> adopted(helper);
  ReportFailures(*helper);
  if (success) {
    request.callback(true, headers, body);
    return;
  }
  const char* const kFailed = "[multiple]Request return false, use http dns if fail:";
  ZO_LOG(LV_APP) << kFailed << request.use_http_dns;
  // Readers of the log know a request without a second pass by the repeated line.
  if (!request.use_http_dns) {
    ZO_LOG(LV_APP) << kFailed << request.use_http_dns;
  }
  if (!request.use_http_dns || !StartSecondPass(*helper, request)) {
    request.callback(false, headers, body);
  }
}

// Does nothing once the request's loop has ended: the agent is being stopped then, and would send
// no report.
void HttpAgent::ReportFailures(const MultipleURLHttpRequestHelper& helper) {
  const std::list<StatisticRecord>& failures = helper.GetFailList();
  const auto statistics = Statistics();
  if (failures.empty() || statistics == nullptr || !helper.MaySend()) {
    return;
  }
  ZO_LOG(LV_APP) << "[multiple]Request fail need statics size " << failures.size();
  const zo_base::ThreadInfo* thread = zo_base::CurrentThreadInfo();
  const auto service = DNSService();
  // A report needs a loop, and a thread that can wait for the host query of its second pass.
  if (thread != nullptr && thread->task_loop != nullptr &&
      (service == nullptr || !service->IsOwnThread())) {
    statistics->Invoke(failures, false);
  } else {
    statistics->PostInvoke(failures);
  }
}

bool HttpAgent::StartSecondPass(const MultipleURLHttpRequestHelper& helper,
                                const MultipleURLHttpRequest& request) {
  // Find the hosts that have a name.
  const NamedHosts named = GatherNamedHosts(request.urls);
  if (named.hosts.empty()) {
    ZO_LOG(LV_APP) << "[multiple]Use http dns,host list empty";
    return false;
  }
  ZO_LOG(LV_APP) << "[multiple]Use http dns,host:";
  for (const std::string& host : named.hosts) {
    ZO_LOG(LV_APP) << "[multiple] -- " << host;
  }
  // Ask for their addresses.
  HostIPMap addresses;
  const auto service = DNSService();
  if (service == nullptr || !helper.MaySend() ||
      !service->Query(static_cast<net::AddressFamily>(request.ip_family), named.hosts, addresses)) {
    ZO_LOG(LV_APP) << "[multiple]User http dns,query host fail";
    return false;
  }
  // Send to these addresses.
  const MultipleURLHttpRequest second = MakeSecondPass(request, named, addresses);
  // A query that has succeeded has an address for each of its hosts, so this can't happen today.
  if (second.urls.empty()) {
    ZO_LOG(LV_APP) << "[multiple]Use http dns,url empty";
    return false;
  }
  ZO_LOG(LV_APP) << "[multiple]Second pass of " << request.urls.front().url;
  InvokeMultipleURLHttpRequest(second);
  return true;
}

bool HttpAgent::QueryHost(const std::string& host, int32_t ip_family, std::string& result) {
  if (net::IsIPLiteral(host)) {
    result = Json(Json::object{{"code", kHostIsAddress}}).dump();
    return false;
  }
  const bool is_named = ip_family == net::kIPFamilyAny || ip_family == net::kIPFamilyV4;
  const auto family = is_named ? static_cast<net::AddressFamily>(ip_family) : net::kIPFamilyV6;
  HostIPMap addresses;
  const auto service = DNSService();
  if (service == nullptr || !service->Query(family, {host}, addresses)) {
    result = Json(Json::object{{"code", kHostNotResolved}}).dump();
    return false;
  }
  result = Json(Json::object{{"code", kResolved}, {"data", ByFamily(addresses[host])}}).dump();
  return true;
}

}  // namespace zo_sturdy
