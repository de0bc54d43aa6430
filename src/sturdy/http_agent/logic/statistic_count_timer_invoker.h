#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <string>

#include "base/sync/mutex.h"
#include "base/thread/base_thread.h"
#include "base/thread/timer.h"
#include "src/sturdy/config/multiple_url_request.h"

namespace zo_sturdy {

// Gathers the failures of requests and reports them to the statistics endpoint in batches: after
// enough failed requests, or some time after the first of them. Its thread, "statistic", runs the
// timer and the reports that the timer causes.
//
//   Idle        count 0, no timer
//   Collecting  count above 0, timer armed for the setting `time`
//   Delayed     count 0, timer armed for the rest of the setting `min_delay`
//   Paused      a batch is complete, but a report has failed: timer armed for the rest of the pause
//
// Threads: Invoke needs a thread with a task loop; any thread may call PostInvoke. The thread that
//          completes a batch sends the report, with `lock` held, and its loop runs the completion.
//          Without a loop the report could complete, with its host query, while it is being sent.
// Locks:   `lock` before a loop's `delayed_mutex`; the timer therefore posts its work. The timer is
//          used with `lock` held only.
// Owner:   the agent, by a shared pointer. It stops the thread before it releases it.
// Errors:  a failed report goes back to the front of `records`, unless the loop of its thread has
//          ended.
class StatisticCountTimerInvoker : public zo_base::BaseThread {
 public:
  StatisticCountTimerInvoker();
  ~StatisticCountTimerInvoker() override;
  StatisticCountTimerInvoker(const StatisticCountTimerInvoker&) = delete;
  StatisticCountTimerInvoker& operator=(const StatisticCountTimerInvoker&) = delete;

  // Adds the failures of one request. `at_front` puts those of a failed report before all others.
  void Invoke(const std::list<StatisticRecord>& failures, bool at_front);
  // Does the same on the thread "statistic".
  void PostInvoke(const std::list<StatisticRecord>& failures);

 private:
  void StartTimer(int32_t delay) ZO_REQUIRES(lock);
  void CancelTimer() ZO_REQUIRES(lock);
  void TimedOut(uint64_t of_arming);
  // Returns whether a report has failed so recently that none may follow. If so, the timer is armed
  // for the rest of the pause.
  bool IsPaused() ZO_REQUIRES(lock);
  // Adds the failures whose URL isn't there yet, and arms the timer if `delay` (ms) is above 0.
  void Merge(const std::list<StatisticRecord>& failures, bool at_front, int32_t delay);
  // Sends the batch. Returns false, and arms the timer, if the last good report is too recent.
  bool DoInvoke(const std::list<StatisticRecord>& batch) ZO_REQUIRES(lock);
  void EndBatch(bool is_sent) ZO_REQUIRES(lock);
  MultipleURLHttpRequest MakeReport(const std::string& endpoint,
                                    const std::list<StatisticRecord>& batch) ZO_REQUIRES(lock);
  void DeriveSdkType(const std::string& business) ZO_REQUIRES(lock);
  void FinishReport(const std::list<StatisticRecord>& batch, bool success);

  std::atomic<uint64_t> last_report_time{0};  // end of the last good report, ms since the epoch
  std::atomic<int64_t> paused_until_ms{0};    // after a failed report; on the monotonic clock

  zo_base::RecursiveMutex lock;
  int32_t count ZO_GUARDED_BY(lock) = 0;  // requests since the last batch
  std::list<StatisticRecord> records ZO_GUARDED_BY(lock);
  zo_base::Timer timer ZO_GUARDED_BY(lock);
  // Counts the armings and the cancels. A time-out that was posted before a cancel, and takes the
  // lock after it, has an old number.
  uint64_t arming ZO_GUARDED_BY(lock) = 0;
  bool waits_for_pause ZO_GUARDED_BY(lock) = false;  // the timer is armed for the end of the pause
  // A report has failed: its records, and those that came in the pause, stay until they are sent.
  bool keeps_records ZO_GUARDED_BY(lock) = false;
  std::string sdktype ZO_GUARDED_BY(lock);
};

}  // namespace zo_sturdy
