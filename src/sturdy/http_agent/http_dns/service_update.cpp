// The update cycle: M asks the service for its endpoints, "http_agent_work" carries the request,
// M applies the answer and waits for the next turn.
//
//   waiting (timer_ armed) --fires--> updating (updatting_interface_) --good--> applying -->
//   waiting
//                                         '--failed--> waiting, 1 to 5 minutes

#include <algorithm>
#include <functional>
#include <utility>

#include "base/log/log.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "network/http_status.h"
#include "src/sturdy/http_agent/http_dns/dns_json.h"
#include "src/sturdy/http_agent/http_dns/httpdns_sdk.h"
#include "src/sturdy/http_agent/http_dns/saturating.h"

namespace zo_sturdy {
namespace {

using KRBASE::network::kStatusOk;
using zo_base::json11::Json;

// Each failure in a row lengthens the pause by a minute, up to five.
constexpr int32_t kLongestPauses = 5;
constexpr int64_t kPauseMs = 60000;

// Part of a request's callback. When the last copy of the callback goes and none has run, the
// request went nowhere, and nobody else would tell.
class LostRequestNotice {
 public:
  explicit LostRequestNotice(std::function<void()> on_lost) : on_lost_(std::move(on_lost)) {}
  ~LostRequestNotice() {
    if (answered_) {
      return;
    }
    try {
      on_lost_();
    } catch (...) {
      return;  // no memory to arm a timer: the cycle rests until the next start
    }
  }
  LostRequestNotice(const LostRequestNotice&) = delete;
  LostRequestNotice& operator=(const LostRequestNotice&) = delete;

  void Answered() { answered_ = true; }

 private:
  const std::function<void()> on_lost_;
  bool answered_ = false;
};

}  // namespace

bool HttpDNSManager::DoReload(net::AddressFamily ip_family) {
  if (updatting_interface_) {
    ZO_LOG(LV_APP) << "[http dns] Update DNS -s updatting_interface_ = true,return";
    return true;
  }
  updatting_interface_ = true;
  // First of all: whatever ends the rest early has ended an update.
  const auto notice = std::make_shared<LostRequestNotice>(
      zo_base::ForAnyThread(*this, GetTaskLoop(), [this] { CompleteServiceUpdate(false, ""); }));
  MultipleURLHttpRequest request = NewRequest();
  request.heads = request_headers_;
  request.ip_family = ip_family;
  const std::vector<ServiceAddress> addresses = service_table_.GetServiceAddresses(ip_family);
  const std::string domain = service_table_.GetServiceDomain();
  for (const ServiceAddress& address : addresses) {
    request.urls.push_back({ServiceUrl(address, "/httpdns/v2/s"), domain});
  }
  request.check =
      zo_base::ForAnyThread(*this, GetTaskLoop(),
                            [this](int32_t index, int32_t code, const std::string& /*headers*/,
                                   const std::string& body, bool& need_statistic) {
                              return JudgeServiceResponse(index, code, body, need_statistic);
                            });
  request.callback = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [this, notice](bool success, const std::string& /*headers*/, const std::string& body) {
        notice->Answered();
        CompleteServiceUpdate(success, body);
      });
  ZO_LOG(LV_APP) << "[http dns] Begin update service";
  SendMultipleURLRequest(request, true);
  return false;
}

bool HttpDNSManager::JudgeServiceResponse(int32_t index, int32_t code, const std::string& body,
                                          bool& need_statistic) {
  ZO_LOG(LV_APP) << "[http dns] Check response index:" << index << " code:" << code;
  need_statistic = false;
  if (code != kStatusOk) {
    ZO_LOG(LV_APP) << "[http dns] Check response res = false";
    need_statistic = true;
    return false;
  }
  std::string error;
  if (CheckServiceResponseBody(Json::parse(body, error))) {
    ZO_LOG(LV_APP) << "[http dns] Check response res = true";
    return true;
  }
  ZO_LOG(LV_APP) << "[http dns] Check response res = false for body error\r\n"
                    "-----------------------\r\nbody:\r\n"
                 << body << "\r\n-----------------------";
  need_statistic = true;
  return false;
}

bool HttpDNSManager::CheckServiceResponseBody(const Json& json) {
  const Json::object& members = json.object_items();
  return members.count(dns_key::kHost) != 0 &&
         (members.count(dns_key::kIPv4) != 0 || members.count(dns_key::kIPv6) != 0) &&
         members.count(dns_key::kTtl) != 0;
}

// `updatting_interface_` is cleared before the next turn is under way. A turn that came first, with
// a lifetime of 0, would find an update in flight and be the last one.
void HttpDNSManager::CompleteServiceUpdate(bool success, const std::string& body) {
  ZO_LOG(LV_APP) << "[http dns] Service update complete success = " << success;
  ZO_LOG(LV_PRO) << "[http dns] Service update complete \r\n-----------------------\r\n"
                 << body << "\r\n-----------------------";
  if (success) {
    update_fail_count_ = 0;
    std::string error;
    const Json json = Json::parse(body, error);
    updatting_interface_ = false;
    zo_base::PostTo(*this, ToWeakClosure([this, json] { ApplyServiceResponse(json); }));
    return;
  }
  const int32_t fail_count = std::min(++update_fail_count_, kLongestPauses);
  update_fail_count_ = fail_count;
  const int64_t pause_ms = fail_count * kPauseMs;
  ZO_LOG(LV_APP) << "[http dns] Update fail redo after :" << pause_ms << "ms";
  updatting_interface_ = false;
  ReloadAfter(pause_ms, "[http dns] Update S by (fail)");
}

void HttpDNSManager::ApplyServiceResponse(const Json& json) {
  {
    const zo_base::MutexLock lock(timer_mutex_);
    if (timer_->HasUsedFlag()) {
      timer_->Cancel();
    }
  }
  UpdateServerCache(json);
  const int64_t ttl_ms = NumberOf(server_cache_file_.Get("ttl"));
  ZO_LOG(LV_APP) << "[http dns] Update success ttl : " << ttl_ms << " ms";
  ReloadAfter(ttl_ms, "[http dns] Update S (success)");
}

// Handed on: what runs in a reload takes locks that a delayed task may not take.
void HttpDNSManager::ReloadAfter(int64_t delay_ms, const char* message) {
  const auto reload = ToWeakClosure([this, message] {
    ZO_LOG(LV_APP) << message;
    DoReload(net::kIPFamilyAny);
  });
  const zo_base::MutexLock lock(timer_mutex_);
  timer_->StartHandedOn(TimerDelayMs(delay_ms), reload, 0);
}

}  // namespace zo_sturdy
