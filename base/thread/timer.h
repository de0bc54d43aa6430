#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "base/object/object.h"
#include "base/thread/task_loop.h"

namespace zo_base {

// Runs a callback once or some times after a delay, on a task loop. Starting it again cancels
// what it was started for before; so does its end.
// Threads: Start and the end come from one thread at a time, as a rule the loop's; Cancel may come
//          from any. A callback that is past its test when the cancel comes runs to its end.
// Owner:   the object whose callback it is.
// Errors:  without a loop, on a thread that has none, Start does nothing but cancel.
class Timer {
 public:
  // Uses the loop of the thread that calls Start.
  Timer() = default;
  explicit Timer(const std::weak_ptr<ITaskLoop>& loop);
  virtual ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  // `times` 0 is one run; a value with the top bit set repeats until the loop's thread stops.
  // The callback runs while the loop holds its mutex of delayed tasks: it takes no lock that is
  // ever held around a post or the start of a timer.
  virtual void Start(uint32_t delay_ms, const std::function<void()>& callback, uint32_t times);

  // As Start, but what falls due only posts the callback to the loop, which runs it with no mutex
  // held, unless this arming has been cancelled meanwhile.
  void StartHandedOn(uint32_t delay_ms, const std::function<void()>& callback, uint32_t times);

  void Cancel();
  // Armed at some time since the last Cancel, whether or not it has fired.
  bool HasUsedFlag() const;

 private:
  // Cancels the last arming. Null if there is no loop to use.
  std::shared_ptr<ITaskLoop> Rearm();
  static void Post(ITaskLoop& loop, uint32_t delay_ms, const std::function<void()>& closure,
                   uint32_t times);

  std::weak_ptr<ITaskLoop> task_loop;
  WeakCallbackFlag weak_flag;
};

}  // namespace zo_base
