#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

#include "base/sync/thread_annotations.h"

namespace zo_base {

// Admits many readers or one writer, for sections from a few instructions to writing a small file.
// Threads: any. Not recursive: a reader that locks again while a writer waits deadlocks.
// Owner:   the object that it guards.
// Errors:  none.
//
// A writer sets `writer_` and then waits until no reader is left; a reader counts itself and then
// tests `writer_`. Each side stores its own word before it loads the other's, so every access is
// sequentially consistent.
class ZO_CAPABILITY("mutex") ReaderWriterSpinLock {
 public:
  enum class WaitMode {
    kYield,  // yield the processor between tries
    kSleep,  // sleep wait_us between tries
  };

  explicit ReaderWriterSpinLock(WaitMode wait_mode = WaitMode::kYield, uint32_t wait_us = 100)
      : wait_mode_(wait_mode), wait_us_(wait_us) {}
  ReaderWriterSpinLock(const ReaderWriterSpinLock&) = delete;
  ReaderWriterSpinLock& operator=(const ReaderWriterSpinLock&) = delete;

  void LockWrite() ZO_ACQUIRE() {
    int32_t free = 0;
    while (!writer_.compare_exchange_weak(free, 1)) {
      free = 0;
      Wait();
    }
    while (readers_ != 0) {
      Wait();
    }
  }
  void UnlockWrite() ZO_RELEASE() { writer_ = 0; }

  void LockRead() ZO_ANNOTATE(acquire_shared_capability()) {
    ++readers_;
    while (writer_ != 0) {
      --readers_;
      while (writer_ != 0) {
        Wait();
      }
      ++readers_;
    }
  }
  void UnlockRead() ZO_ANNOTATE(release_shared_capability()) { --readers_; }

 private:
  void Wait() const {
    if (wait_mode_ == WaitMode::kYield) {
      std::this_thread::yield();
    } else {
      std::this_thread::sleep_for(std::chrono::microseconds(wait_us_));
    }
  }

  const WaitMode wait_mode_;
  const uint32_t wait_us_;
  std::atomic<int32_t> writer_{0};
  std::atomic<int32_t> readers_{0};
};

class ZO_SCOPED_CAPABILITY ReadLock {
 public:
  explicit ReadLock(ReaderWriterSpinLock& lock) ZO_ANNOTATE(acquire_shared_capability(lock))
      : lock_(lock) {
    lock_.LockRead();
  }
  ~ReadLock() ZO_RELEASE() { lock_.UnlockRead(); }
  ReadLock(const ReadLock&) = delete;
  ReadLock& operator=(const ReadLock&) = delete;

 private:
  ReaderWriterSpinLock& lock_;
};

class ZO_SCOPED_CAPABILITY WriteLock {
 public:
  explicit WriteLock(ReaderWriterSpinLock& lock) ZO_ACQUIRE(lock) : lock_(lock) {
    lock_.LockWrite();
  }
  ~WriteLock() ZO_RELEASE() { lock_.UnlockWrite(); }
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

 private:
  ReaderWriterSpinLock& lock_;
};

}  // namespace zo_base
