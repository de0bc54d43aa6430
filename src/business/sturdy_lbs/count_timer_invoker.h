#pragma once

#include <cstdint>
#include <functional>

#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"
#include "base/thread/timer.h"

namespace zo_sturdy {

// Counts a call. True if it reaches the threshold.
inline bool ReachesCount(int32_t& count, int32_t threshold) {
  return ++count >= threshold;
}

// Limits how often a task runs. A counted call runs its task if it reaches the count; otherwise a
// timer runs the latest task a set time after the first call. An immediate call runs its own task
// and drops the counted ones.
//
// Threads: any. The lock isn't held while a task runs or the timer starts, so a task may take any
//          lock and invoke again. Counted calls must come one at a time. On a thread without a
//          task loop, such as a client's, no timer starts and the count alone runs the task.
// Owner:   the LBS service. It must outlive the threads whose loops made counted calls.
// Errors:  none.
class CountTimerInvoker {
 public:
  CountTimerInvoker(int32_t count_to_run, int32_t time_to_run_ms);
  CountTimerInvoker(const CountTimerInvoker&) = delete;
  CountTimerInvoker& operator=(const CountTimerInvoker&) = delete;

  // `timed_task` is what the timer runs in place of `new_task`, if it isn't empty.
  void Invoke(const std::function<void()>& new_task, bool immediately,
              const std::function<void()>& timed_task = nullptr);

 private:
  // Counts the call and starts the timer at the first one. True if the count is reached.
  bool CountCall(const std::function<void()>& timed_task);
  void TimedOut();

  const int32_t count_threshold;
  const int32_t time_threshold;  // ms
  zo_base::Mutex mutex;
  int32_t count ZO_GUARDED_BY(mutex) = 0;
  std::function<void()> task ZO_GUARDED_BY(mutex);
  zo_base::Timer timer;
};

}  // namespace zo_sturdy
