#include "src/sturdy/http_agent/logic/multiple_url_request_helper.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <new>
#include <utility>

#include "base/log/log.h"
#include "base/object/signals.h"
#include "base/sync/mutex.h"
#include "base/thread/clock.h"
#include "base/thread/thread_info.h"
#include "net/ip_address.h"
#include "net/url.h"
#include "src/sturdy/config/current_config.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/http_agent/http_tools/http_tool.h"
#include "src/sturdy/http_agent/logic/live_requests.h"

namespace zo_sturdy {
namespace {

constexpr int32_t kMaxCode = 1024;

std::shared_ptr<zo_base::ITaskLoop> CurrentLoop() {
  const zo_base::ThreadInfo* thread = zo_base::CurrentThreadInfo();
  return thread != nullptr ? thread->task_loop : nullptr;
}

// Turns the negative and the large codes of a transport into 0, a failure without a status.
int32_t ClampCode(int32_t code) {
  return code < 0 || code > kMaxCode ? 0 : code;
}

}  // namespace

MultipleURLHttpRequestHelper::MultipleURLHttpRequestHelper(const MultipleURLHttpRequest& asked)
    : home_loop(CurrentLoop()), has_home(CurrentLoop() != nullptr), request(asked) {
  GetWeakFlag();  // made here, so that a step can take it without memory
  LiveRequests::Instance().Add(this);
}

MultipleURLHttpRequestHelper::~MultipleURLHttpRequestHelper() {
  LiveRequests::Instance().Remove(this);
  ZO_LOG(LV_APP) << "[multiple]Request return,release request object";
}

bool MultipleURLHttpRequestHelper::MaySend() const {
  if (!has_home) {
    return true;
  }
  const std::shared_ptr<zo_base::ITaskLoop> home = home_loop.lock();
  return home != nullptr && CurrentLoop() == home;
}

bool MultipleURLHttpRequestHelper::AllRequested() const {
  return static_cast<size_t>(index) + 1 >= request.urls.size();
}

// Destroying the request tells its owner that there will be no answer.
template <class Step>
void MultipleURLHttpRequestHelper::RunStep(const Step& step) {
  const std::weak_ptr<zo_base::ZOWeakFlag> alive = GetWeakFlag();
  try {
    step();
  } catch (const std::bad_alloc&) {
    ZO_LOG(LV_APP) << "[multiple]No memory for the request";
    if (!alive.expired()) {
      delete this;
    }
  }
}

void MultipleURLHttpRequestHelper::InvokeRequest() {
  if (request.urls.empty()) {
    ZO_LOG(LV_APP) << "[multiple] Request url list empty";
    if (request.callback) {
      request.callback(false, "", "");
    }
    return;
  }
  RunStep([this] { SendCurrent(); });
}

void MultipleURLHttpRequestHelper::SendCurrent() {
  // Without a loop to queue it, the answer could come while this is still sending.
  std::unique_lock<zo_base::RecursiveMutex> no_answer(HttpTool::DeliveryMutex(), std::defer_lock);
  if (!has_home) {
    no_answer.lock();
  }
  // Give the URL its timer.
  const int32_t i = index;
  const std::string url = request.urls[i].url;
  const auto timer = std::make_shared<zo_base::Timer>();
  timers[i] = timer;
  const int64_t sent_ms = zo_base::Clock::WallMs();
  // Send the sub-request.
  HttpToolRequest sub_request;
  sub_request.heads = request.heads;
  sub_request.time_out = request.time_out;
  sub_request.type = request.type;
  sub_request.url = url;
  sub_request.host = request.urls[i].host;
  sub_request.body = request.body;
  sub_request.callback = ToWeakClosure(
      [this, i, sent_ms](int32_t code, const std::string& headers, const std::string& body,
                         const std::list<std::string>& host_addresses) {
        RunStep([&] { HandleResponse(i, sent_ms, code, headers, body, host_addresses); });
        return true;
      });
  const uint32_t time_out_ms = static_cast<uint32_t>(std::max(request.multiple_time_out, 0));
  const std::weak_ptr<zo_base::ZOWeakFlag> alive = GetWeakFlag();
  HttpTool::PostRequest(sub_request);
  if (alive.expired()) {
    // The send failed. Without a loop to post to, it was answered inline, and this object is gone.
    return;
  }
  // Arm the timer.
  ZO_LOG(LV_APP) << "[multiple]Send sub url request:" << url;
  ZO_LOG(LV_APP) << "[multiple]Start timer index:" << i;
  timer->Start(
      time_out_ms, [this, i] { RunStep([&] { HandleTimeOut(i); }); }, 0);
  turns.fetch_add(1, std::memory_order_release);
}

void MultipleURLHttpRequestHelper::HandleTimeOut(int32_t i) {
  ZO_LOG(LV_APP) << "[multiple][time out]Sub url request time out index:" << i;
  const auto entry = timers.find(i);
  if (entry != timers.end() && entry->second->HasUsedFlag()) {
    entry->second->Cancel();
  }
  ZO_LOG(LV_APP) << "[multiple][time out]Stop sub url request timer index :" << i;
  const bool all_requested = AllRequested();
  ZO_LOG(LV_APP) << "[multiple][time out]All url requested :" << all_requested;
  if (!all_requested) {
    ++index;
    ZO_LOG(LV_APP) << "[multiple][time out]Switch to index :" << index << " triggered by :" << i;
    SendCurrent();
  }
  turns.fetch_add(1, std::memory_order_release);
}

void MultipleURLHttpRequestHelper::HandleResponse(int32_t i, int64_t sent_ms, int32_t code,
                                                  const std::string& headers,
                                                  const std::string& body,
                                                  const std::list<std::string>& host_addresses) {
  turns.fetch_add(1, std::memory_order_acquire);
  code = ClampCode(code);
  ZO_LOG(LV_APP) << "[multiple][rsp]Index:" << i << " code :" << code;
  const bool all_requested = AllRequested();
  ZO_LOG(LV_APP) << "[multiple][rsp]All url requested :" << all_requested;

  // Judge the answer.
  const std::string& url = request.urls[i].url;
  bool need_statistic = false;
  if (request.check(i, code, headers, body, need_statistic)) {
    ZO_LOG(LV_APP) << "[multiple][rsp]Business check response true,index :" << i;
    ZO_LOG(LV_PRO) << "[multiple][rsp]Business check response url:" << url;
    Succeed(headers, body);
    return;
  }
  ZO_LOG(LV_APP) << "[multiple][rsp]Business check response false,index :" << i;
  ZO_LOG(LV_PRO) << "[multiple][rsp]Business check response url:" << url;
  // Record the failure, unless the loop has ended: no report would follow then.
  if (need_statistic && MaySend()) {
    RecordFailure(url, code, sent_ms, host_addresses);
  }
  // Move on to the next URL, or end.
  RemoveTimer(i);
  if (all_requested || !MaySend()) {
    EndIfLast(all_requested, headers, body);
  } else {
    SwitchUnlessWaiting(i);
  }
}

void MultipleURLHttpRequestHelper::Succeed(const std::string& headers, const std::string& body) {
  for (const auto& [i, timer] : timers) {
    if (timer->HasUsedFlag()) {
      timer->Cancel();
    }
  }
  timers.clear();
  Emit(SIG_ALL_SUB_REQUEST_RETURN, true, headers, body, request);
}

void MultipleURLHttpRequestHelper::RecordFailure(const std::string& url, int32_t code,
                                                 int64_t sent_ms,
                                                 const std::list<std::string>& host_addresses) {
  const bool known =
      std::any_of(fail_list.begin(), fail_list.end(), [&](const StatisticRecord& record) {
        return record.error_code == code && record.request_url == url;
      });
  if (known) {
    return;
  }
  StatisticRecord record;
  record.request_url = url;
  record.error_code = code;
  if (const auto config = CurrentConfig()) {
    record.appkey = config->GetBusinessToken();
  }
  const int64_t now_ms = zo_base::Clock::WallMs();
  record.timestamp = static_cast<uint64_t>(now_ms);
  record.send_time = static_cast<int32_t>(std::clamp<int64_t>(
      now_ms - sent_ms, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
  // Look nothing up here: with a silent name server that takes 10 to 20 s, in which this thread
  // does nothing else.
  const std::string host = url::GetURLHost(url, false);
  record.host_ip = net::IsIPLiteral(host) ? std::list<std::string>{host} : host_addresses;
  fail_list.push_back(std::move(record));
}

void MultipleURLHttpRequestHelper::RemoveTimer(int32_t i) {
  const auto entry = timers.find(i);
  if (entry != timers.end()) {
    if (entry->second->HasUsedFlag()) {
      entry->second->Cancel();
      ZO_LOG(LV_APP) << "[multiple][rsp]Stop timer index :" << i;
    }
    timers.erase(entry);
  }
  ZO_LOG(LV_APP) << "[multiple][rsp]Remove timer index :" << i;
}

void MultipleURLHttpRequestHelper::EndIfLast(bool all_requested, const std::string& headers,
                                             const std::string& body) {
  if (!timers.empty()) {
    turns.fetch_add(1, std::memory_order_release);
    return;
  }
  if (all_requested) {
    ZO_LOG(LV_APP) << "[multiple][rsp]All sub url has been requested";
  }
  Emit(SIG_ALL_SUB_REQUEST_RETURN, false, headers, body, request);
}

void MultipleURLHttpRequestHelper::SwitchUnlessWaiting(int32_t i) {
  const bool waiting = std::any_of(timers.begin(), timers.end(),
                                   [](const auto& entry) { return entry.second->HasUsedFlag(); });
  ZO_LOG(LV_APP) << "[multiple][rsp]Has waitting request " << waiting;
  if (waiting) {
    turns.fetch_add(1, std::memory_order_release);
    return;
  }
  ++index;
  ZO_LOG(LV_APP) << "[multiple][rsp]Switch to index :" << index << " triggered by :" << i;
  // Names the URL that has failed; readers of the log rely on it.
  ZO_LOG(LV_PRO) << "[multiple][rsp]Switch to url:" << request.urls[i].url;
  SendCurrent();
}

}  // namespace zo_sturdy
