#pragma once

#include <functional>
#include <memory>

#include "base/sync/mutex.h"
#include "base/thread/base_thread.h"

namespace zo_base {

// The loop of a BaseThread. Holds its thread weakly, once the thread runs.
// Threads: any.
// Errors:  drops posts while it has no thread.
class BaseThread::ThreadTaskLoop final : public ITaskLoop {
 public:
  void PostTask(const std::function<void()>& task) override {
    if (const auto delegate = Delegate()) {
      delegate->PostTask(task);
    }
  }
  void PostHighPriorityTask(const std::function<void()>& task) override {
    if (const auto delegate = Delegate()) {
      delegate->PostHighPriorityTask(task);
    }
  }
  void PostDelayedTask(int delay_ms, const std::function<void()>& task) override {
    if (const auto delegate = Delegate()) {
      delegate->PostDelayedTask(delay_ms, task);
    }
  }
  void PostRepeatedTask(int delay_ms, const std::function<void()>& task, int times) override {
    if (const auto delegate = Delegate()) {
      delegate->PostRepeatedTask(delay_ms, task, times);
    }
  }
  void AttachDelegate(const std::shared_ptr<ITaskDelegate>& delegate) override {
    MutexLock lock(mutex_);
    delegate_ = delegate;
  }
  void PostAndWake(const std::function<void()>& task) override {
    if (const auto delegate = Delegate()) {
      delegate->PostAndWake(task);
    }
  }

 private:
  std::shared_ptr<ITaskDelegate> Delegate() {
    MutexLock lock(mutex_);
    return delegate_.lock();
  }

  // A leaf.
  Mutex mutex_;
  std::weak_ptr<ITaskDelegate> delegate_ ZO_GUARDED_BY(mutex_);
};

}  // namespace zo_base
