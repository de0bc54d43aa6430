#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/object/object.h"
#include "base/thread/task_loop.h"

namespace zo_base {

// Runs a callback once or several times after a delay, on a task loop. Start and the destructor
// cancel the previous arming.
// Threads: Start and the destructor run on one thread at a time, as a rule the loop's. Any thread
//          may call Cancel; a callback that is already running finishes.
// Owner:   the object whose callback it runs.
// Errors:  without a loop, on a thread that has none, Start only cancels.
class Timer {
 public:
  // Uses the loop of the thread that calls Start.
  Timer() = default;
  explicit Timer(const std::weak_ptr<ITaskLoop>& loop);
  virtual ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  // Runs once for `times` 0; repeats until the loop's thread stops if the top bit is set.
  // The callback runs with the loop's mutex of delayed tasks held, so it must not take a lock that
  // is ever held around a post or the start of a timer.
  virtual void Start(uint32_t delay_ms, const std::function<void()>& callback, uint32_t times);

  // Like Start, but the due task only posts the callback to the loop, which runs it without a mutex
  // unless this arming has been cancelled meanwhile.
  void StartPosted(uint32_t delay_ms, const std::function<void()>& callback, uint32_t times);

  void Cancel();
  // True if armed since the last Cancel, whether or not it has fired.
  bool HasUsedFlag() const;

 private:
  // Cancels the last arming. Returns null if there is no loop.
  std::shared_ptr<ITaskLoop> Rearm();
  static void Post(ITaskLoop& loop, uint32_t delay_ms, const std::function<void()>& closure,
                   uint32_t times);

  std::weak_ptr<ITaskLoop> task_loop;
  WeakCallbackFlag weak_flag;
};

}  // namespace zo_base
