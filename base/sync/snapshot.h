#pragma once

#include <memory>
#include <utility>

#include "base/sync/mutex.h"

namespace zo_base {

// A value that is replaced whole: a reader keeps the one it got for as long as it likes.
// Threads: any. The lock inside is a leaf, held for the copy of one pointer.
// Errors:  none; Get is null until the first Set.
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
    // The old value dies after the lock is gone: its destructor may be anything.
    MutexLock lock(mutex_);
    value_.swap(value);
  }
  void Set(T value) { Set(std::make_shared<const T>(std::move(value))); }

 private:
  mutable Mutex mutex_;
  std::shared_ptr<const T> value_ ZO_GUARDED_BY(mutex_);
};

}  // namespace zo_base
