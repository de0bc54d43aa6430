#pragma once

#include <atomic>
#include <utility>

#include "base/sync/mutex.h"

namespace zo_base {

// A once-flag that can be reset.
// Threads: any; callers that come during the first call wait for it.
// Errors:  an exception from the function leaves the flag unset and passes to the caller.
class OnceFlag {
 public:
  OnceFlag() = default;
  OnceFlag(const OnceFlag&) = delete;
  OnceFlag& operator=(const OnceFlag&) = delete;

  // Runs `function` unless a call has succeeded since the last Reset.
  // Requires: not called from within `function` on the same flag.
  template <class Function>
  void Call(Function&& function) {
    if (done_.load(std::memory_order_acquire)) {
      return;
    }
    MutexLock lock(mutex_);
    if (!done_.load(std::memory_order_relaxed)) {
      std::forward<Function>(function)();
      done_.store(true, std::memory_order_release);
    }
  }

  // Takes no lock. A call that is running still sets the flag when it ends.
  void Reset() { done_.store(false, std::memory_order_release); }

 private:
  std::atomic<bool> done_{false};
  Mutex mutex_;
};

}  // namespace zo_base
