#pragma once

#include <cstdint>
#include <functional>

#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"
#include "base/thread/timer.h"

namespace zo_sturdy {

// Damps a task that is asked for again and again: it runs at the ask that reaches the count, or a
// set time after the first ask, whichever is earlier. An immediate ask runs its own task and
// drops the asks that were waiting.
//
// Threads: any. The lock guards the fields alone: it isn't held while a task runs or while the
//          timer starts, so a task may take any lock and ask again. Counted asks are to come one
//          at a time. Where the asking thread has no task loop, as a client's thread hasn't, no
//          timer is armed and the count alone runs the task.
// Owner:   the LBS service. It must outlive the thread of the loop that a counted ask was made on.
// Errors:  none.
class CountTimerInvoker {
 public:
  CountTimerInvoker(int32_t count_to_run, int32_t time_to_run_ms);
  CountTimerInvoker(const CountTimerInvoker&) = delete;
  CountTimerInvoker& operator=(const CountTimerInvoker&) = delete;

  void Invoke(const std::function<void()>& asked_task, bool immediately);

 private:
  // Counts the ask and arms the timer at the first; true if the count is reached.
  bool CountAsk(const std::function<void()>& asked_task);
  void TimedOut();

  const int32_t count_threshold;
  const int32_t time_threshold;  // ms
  zo_base::Mutex mutex;
  int32_t count ZO_GUARDED_BY(mutex) = 0;
  std::function<void()> task ZO_GUARDED_BY(mutex);
  zo_base::Timer timer;
};

}  // namespace zo_sturdy
