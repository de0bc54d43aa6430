#pragma once

#include <mutex>

#include "base/sync/thread_annotations.h"

namespace zo_base {

// The standard mutexes in a wrapper that lets clang check what they guard.
// Both work with std::condition_variable_any. On Linux neither needs a destructor call; on
// Windows what a lock has taken stays without one.
// Threads: any. Errors: the standard system errors of the wrapped mutex.
class ZO_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ZO_ACQUIRE() { mutex_.lock(); }
  void unlock() ZO_RELEASE() { mutex_.unlock(); }
  bool try_lock() ZO_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  std::mutex mutex_;
};

class ZO_CAPABILITY("mutex") RecursiveMutex {
 public:
  RecursiveMutex() = default;
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void lock() ZO_ACQUIRE() { mutex_.lock(); }
  void unlock() ZO_RELEASE() { mutex_.unlock(); }
  bool try_lock() ZO_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  std::recursive_mutex mutex_;
};

class ZO_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZO_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() ZO_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

class ZO_SCOPED_CAPABILITY RecursiveMutexLock {
 public:
  explicit RecursiveMutexLock(RecursiveMutex& mutex) ZO_ACQUIRE(mutex) : mutex_(mutex) {
    mutex_.lock();
  }
  ~RecursiveMutexLock() ZO_RELEASE() { mutex_.unlock(); }
  RecursiveMutexLock(const RecursiveMutexLock&) = delete;
  RecursiveMutexLock& operator=(const RecursiveMutexLock&) = delete;

 private:
  RecursiveMutex& mutex_;
};

}  // namespace zo_base
