#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <string>

#include "base/sync/mutex.h"
#include "base/thread/base_thread.h"
#include "base/thread/timer.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"

namespace zo_sturdy {

// Gathers the failures that requests leave behind, and reports them in batches to the statistics
// endpoint: when enough failed requests have come, or some time after the first of them. Its
// thread, "statistic", runs the timer and the reports that the timer causes.
//
//   Idle        count 0, no timer
//   Collecting  count above 0, timer armed for the setting `time`
//   Delayed     count 0, timer armed for the rest of the setting `min_delay`
//
// Threads: Invoke from a thread with a task loop, PostInvoke from any. `lock` is held while a
//          report is handed on, so a report begins on the thread that completed the batch, and its
//          end comes back there, through the loop. Without one the end could come, host query and
//          all, while the report is still being handed on. The timer is touched with `lock` held
//          only. `lock` goes before a loop's mutex of delayed tasks; so the timer's work is handed
//          on to run without that one.
// Owner:   the agent, by a shared pointer. It stops the thread before it lets go.
// Errors:  a failed report goes back to the front of `records`, unless the loop of its thread has
//          ended by then.
class StatisticCountTimerInvoker : public zo_base::BaseThread {
 public:
  StatisticCountTimerInvoker();
  ~StatisticCountTimerInvoker() override;
  StatisticCountTimerInvoker(const StatisticCountTimerInvoker&) = delete;
  StatisticCountTimerInvoker& operator=(const StatisticCountTimerInvoker&) = delete;

  // Takes the failures of one request; those of a report that failed go to the front.
  void Invoke(const std::list<StatisticRecord>& failures, bool at_front);
  // Has the thread "statistic" take them.
  void PostInvoke(const std::list<StatisticRecord>& failures);

 private:
  void StartTimer(int32_t delay) ZO_REQUIRES(lock);
  void CancelTimer() ZO_REQUIRES(lock);
  void TimedOut(uint64_t of_arming);
  // Adds what isn't known by its URL yet, and arms the timer if `delay` is above 0.
  void Merge(const std::list<StatisticRecord>& failures, bool at_front, int32_t delay);
  void DoInvoke(const std::list<StatisticRecord>& batch) ZO_REQUIRES(lock);
  MultipleURLHttpRequest MakeReport(const std::string& endpoint,
                                    const std::list<StatisticRecord>& batch) ZO_REQUIRES(lock);
  void DeriveSdkType(const std::string& business) ZO_REQUIRES(lock);
  void FinishReport(const std::list<StatisticRecord>& batch, bool success);

  std::atomic<uint64_t> last_report_time{0};  // of the last good report

  zo_base::RecursiveMutex lock;
  int32_t count ZO_GUARDED_BY(lock) = 0;  // requests since the last batch
  std::list<StatisticRecord> records ZO_GUARDED_BY(lock);
  zo_base::Timer timer ZO_GUARDED_BY(lock);
  // Counts the armings and their ends: a time-out that was handed on before a cancel, and comes to
  // the lock after it, has an old number.
  uint64_t arming ZO_GUARDED_BY(lock) = 0;
  std::string sdktype ZO_GUARDED_BY(lock);
};

}  // namespace zo_sturdy
