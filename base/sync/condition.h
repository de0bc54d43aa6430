#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "base/sync/thread_annotations.h"

namespace zo_base {

// A condition variable for any lock. std::condition_variable_any notifies with a mutex of its own
// held, so that a woken thread which runs at once finds it and sleeps again; here it goes on.
// Threads: any. Whoever notifies keeps the object alive meanwhile.
// Errors:  the standard system errors of its mutex.
class Condition {
 public:
  Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  // Both may return without a notification, as waits do.
  template <typename Lock>
  void wait(Lock& lock) {
    Await(lock, [this](std::unique_lock<std::mutex>& entering) { condition_.wait(entering); });
  }
  template <typename Lock>
  std::cv_status wait_for(Lock& lock, std::chrono::milliseconds length) {
    auto status = std::cv_status::no_timeout;
    Await(lock, [&](std::unique_lock<std::mutex>& entering) {
      status = condition_.wait_for(entering, length);
    });
    return status;
  }

  void notify_one() {
    LetEnter();
    condition_.notify_one();
  }
  void notify_all() {
    LetEnter();
    condition_.notify_all();
  }

 private:
  template <typename Lock, typename Wait>
  void Await(Lock& lock, const Wait& wait) ZO_NO_THREAD_SAFETY_ANALYSIS {
    {
      std::unique_lock<std::mutex> entering(entering_);
      lock.unlock();
      wait(entering);
    }
    lock.lock();
  }
  // Whoever has let go of its lock to wait does so by now.
  void LetEnter() { const std::lock_guard<std::mutex> entering(entering_); }

  std::mutex entering_;
  std::condition_variable condition_;
};

}  // namespace zo_base
