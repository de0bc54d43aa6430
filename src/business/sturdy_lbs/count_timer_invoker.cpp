#include "src/business/sturdy_lbs/count_timer_invoker.h"

#include "base/log/log.h"

namespace zo_sturdy {

CountTimerInvoker::CountTimerInvoker(int32_t count_to_run, int32_t time_to_run_ms)
    : count_threshold(count_to_run), time_threshold(time_to_run_ms) {}

void CountTimerInvoker::Invoke(const std::function<void()>& new_task, bool immediately,
                               const std::function<void()>& timed_task) {
  if (!immediately) {
    if (!CountCall(timed_task ? timed_task : new_task)) {
      return;
    }
    ZO_LOG(LV_APP) << "[count timer invoker][times] Invoke task";
  }
  if (timer.HasUsedFlag()) {
    timer.Cancel();
  }
  {
    const zo_base::MutexLock lock(mutex);
    count = 0;
  }
  ZO_LOG(LV_APP) << "[count timer invoker] Invoke immediately";
  new_task();
}

bool CountTimerInvoker::CountCall(const std::function<void()>& timed_task) {
  std::function<void()> latest = timed_task;
  bool first = false;
  bool reached = false;
  {
    const zo_base::MutexLock lock(mutex);
    task.swap(latest);
    first = count == 0;
    reached = ReachesCount(count, count_threshold);
  }
  if (first) {
    // The task takes locks that are held around posts, so it must not run inside the loop's walk
    // over its due tasks.
    timer.StartPosted(
        static_cast<uint32_t>(time_threshold), [this] { TimedOut(); }, 0);
  }
  return reached;
}

void CountTimerInvoker::TimedOut() {
  ZO_LOG(LV_APP) << "[count timer invoker][time out] Invoke task";
  std::function<void()> latest;
  {
    const zo_base::MutexLock lock(mutex);
    latest = task;
  }
  Invoke(latest, true);
}

}  // namespace zo_sturdy
