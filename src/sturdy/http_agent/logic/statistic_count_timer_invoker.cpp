#include "src/sturdy/http_agent/logic/statistic_count_timer_invoker.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>

#include "base/json/json.h"
#include "base/log/log.h"
#include "base/thread/clock.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "base/thread/thread_info.h"
#include "net/url.h"
#include "network/http_status.h"
#include "src/sturdy/config/current_config.h"
#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {
namespace {

using zo_base::json11::Json;

constexpr size_t kMaxRecords = 20;
constexpr int32_t kPost = 1;
// No report follows a failed one for this time or for `min_delay`, whichever is longer. With a
// document that wants one report for each failure, an endpoint that refuses would otherwise get
// hundreds a second, from every client.
constexpr int64_t kShortestPauseMs = 5000;

// Returns the present settings. A good document replaces the record as a whole, so a caller reads
// one record from begin to end.
std::shared_ptr<const StatisticSettings> ReadSettings() {
  const auto config = CurrentConfig();
  return config != nullptr ? config->statistic_settings.Get()
                           : std::make_shared<const StatisticSettings>();
}

std::string ReportBody(const std::list<StatisticRecord>& batch) {
  Json::array reports;
  for (const StatisticRecord& record : batch) {
    reports.push_back(Json::object{
        {"request_url", record.request_url},
        {"host_ip", Json::array(record.host_ip.begin(), record.host_ip.end())},
        {"appkey", record.appkey},
        {"timestamp", static_cast<long long>(record.timestamp)},
        {"error_code", record.error_code},
        {"send_time", record.send_time},
        {"platform", "pc"},
    });
  }
  return Json(std::move(reports)).dump();
}

// Never asks to record a report's own failure: reports would cause reports.
bool CheckReport(int32_t code, const std::string& body, bool& need_statistic) {
  ZO_LOG(LV_APP) << "[statistic]Statistic check code:" << code;
  ZO_LOG(LV_PRO) << "[statistic]Statistic check " << zo_base::Framed{body};
  need_statistic = false;
  return code == KRBASE::network::kStatusOk;
}

}  // namespace

StatisticCountTimerInvoker::StatisticCountTimerInvoker()
    : BaseThread("statistic"), timer(GetTaskLoop()) {}

StatisticCountTimerInvoker::~StatisticCountTimerInvoker() {
  BaseThread::Stop();
}

void StatisticCountTimerInvoker::Invoke(const std::list<StatisticRecord>& failures, bool at_front) {
  const auto settings = ReadSettings();
  if (!settings->enable) {
    return;
  }
  zo_base::RecursiveMutexLock guard(lock);
  Merge(failures, at_front, -1);
  keeps_records = keeps_records || at_front || paused_until_ms > zo_base::Clock::MonotonicMs();
  ++count;
  if (count >= settings->count) {
    if (IsPaused()) {
      return;
    }
    CancelTimer();
    const bool is_sent = DoInvoke(std::list<StatisticRecord>(records));
    ZO_LOG(LV_APP) << "[statistic][count] Statistic count :" << records.size();
    EndBatch(is_sent);
  } else if (count == 1) {
    // Arm only if no batch follows: the loop keeps a cancelled arming until it is due.
    StartTimer(settings->time);
  }
}

void StatisticCountTimerInvoker::PostInvoke(const std::list<StatisticRecord>& failures) {
  zo_base::PostTo(*this, ToWeakClosure([this, failures] { Invoke(failures, false); }));
}

void StatisticCountTimerInvoker::StartTimer(int32_t delay) {
  // A negative delay has passed already.
  const auto delay_ms = static_cast<uint32_t>(std::max(delay, 0));
  waits_for_pause = false;
  // Without memory for the timer the count begins again, so that the next failure arms it.
  const int32_t counted = std::exchange(count, 0);
  timer.StartPosted(
      delay_ms, [this, number = ++arming] { TimedOut(number); }, 0);
  count = counted;
}

void StatisticCountTimerInvoker::CancelTimer() {
  ++arming;
  waits_for_pause = false;
  if (timer.HasUsedFlag()) {
    timer.Cancel();
  }
}

void StatisticCountTimerInvoker::TimedOut(uint64_t of_arming) {
  zo_base::RecursiveMutexLock guard(lock);
  if (of_arming != arming) {
    return;
  }
  waits_for_pause = false;
  if (IsPaused()) {
    return;
  }
  ZO_LOG(LV_APP) << "[statistic][time out] Statistic count :" << records.size();
  count = 0;  // without memory for the report, the next failure arms the timer again
  EndBatch(DoInvoke(std::list<StatisticRecord>(records)));
}

void StatisticCountTimerInvoker::EndBatch(bool is_sent) {
  if (is_sent || !keeps_records) {
    records.clear();
    keeps_records = false;
  }
  count = 0;
}

bool StatisticCountTimerInvoker::IsPaused() {
  const int64_t rest_ms = paused_until_ms - zo_base::Clock::MonotonicMs();
  if (rest_ms <= 0) {
    return false;
  }
  // Arm once: further failures in the pause only join the batch.
  if (!waits_for_pause) {
    ZO_LOG(LV_APP) << "[statistic] Last report failed,wait ms :" << rest_ms;
    CancelTimer();
    StartTimer(static_cast<int32_t>(rest_ms));
    waits_for_pause = true;
  }
  return true;
}

void StatisticCountTimerInvoker::Merge(const std::list<StatisticRecord>& failures, bool at_front,
                                       int32_t delay) {
  zo_base::RecursiveMutexLock guard(lock);
  std::list<StatisticRecord> fresh;
  std::copy_if(failures.begin(), failures.end(), std::back_inserter(fresh),
               [this](const StatisticRecord& failure) ZO_NO_THREAD_SAFETY_ANALYSIS {
                 return std::none_of(records.begin(), records.end(), [&](const auto& known) {
                   return known.request_url == failure.request_url;
                 });
               });
  records.splice(at_front ? records.begin() : records.end(), fresh);
  while (records.size() > kMaxRecords) {
    records.pop_front();
  }
  if (delay > 0) {
    StartTimer(delay);
  }
}

bool StatisticCountTimerInvoker::DoInvoke(const std::list<StatisticRecord>& batch) {
  const auto settings = ReadSettings();
  // Compute how long ago the last good report was. Read its time before the clock: a report that
  // completes meanwhile, without `lock`, may set it later.
  const auto last_ms = static_cast<int64_t>(last_report_time.load());
  const int64_t passed_ms = zo_base::Clock::WallMs() - last_ms;
  // If that is too recent, wait. If the clock was set back, the delay counts as over.
  if (passed_ms >= 0 && passed_ms < settings->min_delay) {
    const int64_t rest_ms = settings->min_delay - passed_ms;
    // This only arms the timer: `records` still has every URL of the batch. The caller clears them,
    // unless a report with some of them has failed, and the next report has the failures that come
    // until the delay is over.
    Merge(batch, false,
          static_cast<int32_t>(std::min<int64_t>(rest_ms, std::numeric_limits<int32_t>::max())));
    ZO_LOG(LV_APP) << "[statistic] Time now - last report time < " << settings->min_delay << " ("
                   << passed_ms << ") stop report";
    return false;
  }
  // Send the report.
  const MultipleURLHttpRequest report = MakeReport(settings->host, batch);
  const auto config = CurrentConfig();
  const HttpRequestInvoker invoker =
      config != nullptr ? config->GetHttpRequestInvoker() : HttpRequestInvoker();
  if (!invoker) {
    return true;
  }
  ZO_LOG(LV_APP) << "[statistic] Do statistic data :" << report.body;
  invoker(report, false);
  return true;
}

MultipleURLHttpRequest StatisticCountTimerInvoker::MakeReport(
    const std::string& endpoint, const std::list<StatisticRecord>& batch) {
  MultipleURLHttpRequest report;
  report.type = kPost;
  report.use_http_dns = true;
  if (const auto config = CurrentConfig()) {
    report.ip_family = static_cast<int32_t>(config->address_family.load());
    DeriveSdkType(config->business);
  }
  report.urls.push_back(
      {endpoint + "/statics/report/im/api/error",
       url::GetURLScheme(endpoint).empty() ? endpoint : url::GetURLHost(endpoint, false)});
  report.heads = {"Content-Type: application/json", "sdktype:" + sdktype};
  report.check = [](int32_t /*index*/, int32_t code, const std::string& /*headers*/,
                    const std::string& body,
                    bool& need_statistic) { return CheckReport(code, body, need_statistic); };
  report.callback = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [this, batch](bool success, const std::string& /*headers*/, const std::string& /*body*/) {
        FinishReport(batch, success);
      });
  report.body = ReportBody(batch);
  return report;
}

void StatisticCountTimerInvoker::DeriveSdkType(const std::string& business) {
  const size_t end = business.find('_');
  if (end != std::string::npos) {
    sdktype = business.substr(0, end);
  }
}

void StatisticCountTimerInvoker::FinishReport(const std::list<StatisticRecord>& batch,
                                              bool success) {
  ZO_LOG(LV_APP) << "[statistic]Statistic ret:" << success;
  if (success) {
    last_report_time = static_cast<uint64_t>(zo_base::Clock::WallMs());
    return;
  }
  const int64_t pause_ms = std::clamp<int64_t>(ReadSettings()->min_delay, kShortestPauseMs,
                                               std::numeric_limits<int32_t>::max());
  paused_until_ms = zo_base::Clock::MonotonicMs() + pause_ms;
  const zo_base::ThreadInfo* current = zo_base::CurrentThreadInfo();
  if (current != nullptr && current->task_loop != nullptr) {
    zo_base::PostTo(current->task_loop, zo_base::ForAnyThread(*this, GetTaskLoop(), [this, batch] {
                      Invoke(batch, true);
                    }));
  }
}

}  // namespace zo_sturdy
