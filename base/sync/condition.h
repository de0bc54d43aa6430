#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "base/sync/thread_annotations.h"

namespace zo_base {

// A condition variable for any lock. std::condition_variable_any notifies with its own mutex held,
// so a thread that wakes at once would block on that mutex and sleep again.
// Threads: any. The notifying thread keeps the object alive meanwhile.
// Errors:  the standard system errors of its mutex.
class Condition {
 public:
  Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  // Both may return without a notification.
  template <typename Lock>
  void wait(Lock& lock) {
    WaitWith(lock, [this](std::unique_lock<std::mutex>& entering) { condition_.wait(entering); });
  }
  template <typename Lock>
  std::cv_status wait_for(Lock& lock, std::chrono::milliseconds length) {
    auto status = std::cv_status::no_timeout;
    WaitWith(lock, [&](std::unique_lock<std::mutex>& entering) {
      status = condition_.wait_for(entering, length);
    });
    return status;
  }

  void notify_one() {
    WaitForEntrants();
    condition_.notify_one();
  }
  void notify_all() {
    WaitForEntrants();
    condition_.notify_all();
  }

 private:
  template <typename Lock, typename Wait>
  void WaitWith(Lock& lock, const Wait& wait) ZO_NO_THREAD_SAFETY_ANALYSIS {
    {
      std::unique_lock<std::mutex> entering(mutex_);
      lock.unlock();
      wait(entering);
    }
    lock.lock();
  }
  // Every waiter that has released its lock is waiting once this returns.
  void WaitForEntrants() { const std::lock_guard<std::mutex> entering(mutex_); }

  std::mutex mutex_;
  std::condition_variable condition_;
};

}  // namespace zo_base
