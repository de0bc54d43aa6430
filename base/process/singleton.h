#pragma once

#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "base/process/at_exit.h"
#include "base/process/no_destructor.h"
#include "base/process/unload_hook.h"
#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"

namespace zo_base {

// Base of a class that has one object, created by the first call of Instance.
// `Context` scopes the object. `flag` says when it ends: 1, with the at-exit manager of the
// context, after which Instance creates a new one; 0, never while the library is loaded.
// Threads: any.
// Owner:   the class itself. An ended object is retired, not deleted: another thread may still use
//          it. All are deleted when the library is unloaded.
// Errors:  an exception from the constructor passes to the caller; the next call tries again.
template <class T, class Context, int flag>
class Singleton {
 public:
  virtual ~Singleton() = default;
  Singleton(const Singleton&) = delete;
  Singleton& operator=(const Singleton&) = delete;

  // Never null. With `flag` 1 and no at-exit manager the new object is retired at once, so callers
  // hold a manager.
  static T* Instance() {
    for (;;) {
      if (T* current = Current()) {
        return current;
      }
      if (T* created = Create()) {
        return created;
      }
      // Another thread has retired the object and is about to clear the once-flag.
      std::this_thread::yield();
    }
  }

  // Null if no object exists. Creates none.
  static T* Current() { return instance.load(std::memory_order_acquire); }

 protected:
  Singleton() = default;

 private:
  struct Retired {
    Mutex mutex;
    std::vector<T*> objects ZO_GUARDED_BY(mutex);
  };

  static Retired& AllRetired() {
    static NoDestructor<Retired> retired;
    return *retired;
  }

  // Null if the once-flag is found set.
  static T* Create() {
    T* created = nullptr;
    std::shared_ptr<IAtExitManager<Context>> manager;
    once.Call([&] {
      AtUnload(&DeleteAll);
      auto object = std::unique_ptr<T>(new T());
      ReserveRetired();
      if constexpr (flag == 1) {
        // Register before publishing: a registration that throws leaves no object.
        manager = IAtExitManager<Context>::Get();
        manager->RegisterCallback([] { Retire(); });
      }
      created = object.release();
      instance.store(created, std::memory_order_release);
    });
    // `manager` is released after the once-flag's mutex: as the last reference it runs Retire.
    return created;
  }

  // Reserves the place now: Retire runs in a destructor, which can't report a lack of memory.
  static void ReserveRetired() {
    Retired& retired = AllRetired();
    MutexLock lock(retired.mutex);
    retired.objects.reserve(retired.objects.size() + 1);
  }

  static void Retire() {
    if (T* object = instance.exchange(nullptr, std::memory_order_acq_rel)) {
      Retired& retired = AllRetired();
      MutexLock lock(retired.mutex);
      retired.objects.push_back(object);
    }
    once.Reset();
  }

  static void DeleteAll() {
    Retire();
    Retired& retired = AllRetired();
    std::vector<T*> objects;
    {
      MutexLock lock(retired.mutex);
      objects.swap(retired.objects);
    }
    for (T* object : objects) {
      delete object;
    }
  }

  static inline std::atomic<T*> instance{nullptr};
  static inline OnceFlag once;
};

}  // namespace zo_base
