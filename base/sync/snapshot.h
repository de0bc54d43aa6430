#pragma once

#include <memory>
#include <utility>

#include "base/sync/mutex.h"

namespace zo_base {

// A value that is replaced as a whole. A reader may keep the value that it got.
// Threads: any. The lock inside is a leaf, held while one pointer is copied.
// Errors:  none; Get returns null until the first Set.
template <class T>
class Snapshot {
 public:
  Snapshot() = default;
  explicit Snapshot(T value) { Set(std::move(value)); }
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

  std::shared_ptr<const T> Get() const {
    MutexLock lock(mutex_);
    return value_;
  }

  void Set(std::shared_ptr<const T> value) {
    // `lock` ends before `value`: the old value's destructor runs without the mutex.
    MutexLock lock(mutex_);
    value_.swap(value);
  }
  void Set(T value) { Set(std::make_shared<const T>(std::move(value))); }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<const T> value_ ZO_GUARDED_BY(mutex_);
};

}  // namespace zo_base
