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

// The base of a class that has one object, made at its first use.
// `Context` scopes the object. `flag` tells when it ends: 1, with the at-exit manager of the
// context, after which the next use makes a new one; 0, never while the library is loaded.
// Threads: any.
// Owner:   the class itself. An object that has ended is forgotten, not deleted: a late user may
//          still hold its pointer. All are freed when the library is unloaded.
// Errors:  an exception from the making goes on to the caller, and the next use tries again.
template <class T, class Context, int flag>
class Singleton {
 public:
  virtual ~Singleton() = default;
  // Nothing was set that a later user would notice.
  virtual bool IsAsNew() { return true; }
  Singleton(const Singleton&) = delete;
  Singleton& operator=(const Singleton&) = delete;

  // Never null.
  static T* Instance() {
    for (;;) {
      if (T* current = instance.load(std::memory_order_acquire)) {
        return current;
      }
      if (T* made = Make()) {
        return made;
      }
      // Another thread is between forgetting the object and clearing the flag.
      std::this_thread::yield();
    }
  }

 protected:
  Singleton() = default;

 private:
  struct Kept {
    Mutex mutex;
    // Ended with their at-exit manager.
    std::vector<T*> forgotten ZO_GUARDED_BY(mutex);
    // Made while no manager lived, and so forgotten at once. Taken again by the next making if it
    // is as new, so that use outside any environment costs no memory.
    T* spare ZO_GUARDED_BY(mutex) = nullptr;
  };

  static Kept& TheKept() {
    static NoDestructor<Kept> kept;
    return *kept;
  }

  // Null if the once-flag is found set.
  static T* Make() {
    T* made = nullptr;
    std::shared_ptr<IAtExitManager<Context>> manager;
    once.Call([&] {
      AtUnload(&FreeAll);
      std::unique_ptr<T> object(TakeSpare());
      if (!object) {
        object.reset(new T());
      }
      if constexpr (flag == 1) {
        // Before the object is published: a registration that throws leaves nothing behind.
        manager = IAtExitManager<Context>::Get();
        manager->RegisterCallback([] { Forget(); });
      }
      made = object.release();
      instance.store(made, std::memory_order_release);
    });
    // With no environment this is the manager's only reference, and Forget runs here.
    in_making = true;
    manager.reset();
    in_making = false;
    return made;
  }

  static void Forget() {
    T* object = instance.exchange(nullptr, std::memory_order_acq_rel);
    if (object != nullptr) {
      Kept& kept = TheKept();
      MutexLock lock(kept.mutex);
      if (in_making && kept.spare == nullptr) {
        kept.spare = object;
      } else {
        kept.forgotten.push_back(object);
      }
    }
    once.Reset();
  }

  static T* TakeSpare() {
    Kept& kept = TheKept();
    MutexLock lock(kept.mutex);
    if (kept.spare != nullptr && !kept.spare->IsAsNew()) {
      kept.forgotten.push_back(kept.spare);
      kept.spare = nullptr;
    }
    return std::exchange(kept.spare, nullptr);
  }

  static void FreeAll() {
    Kept& kept = TheKept();
    std::vector<T*> all;
    {
      MutexLock lock(kept.mutex);
      all.swap(kept.forgotten);
      all.push_back(kept.spare);
      kept.spare = nullptr;
    }
    all.push_back(instance.exchange(nullptr));
    once.Reset();
    for (T* object : all) {
      delete object;
    }
  }

  static inline std::atomic<T*> instance{nullptr};
  static inline OnceFlag once;
  // The calling thread is dropping the manager that it got for a making.
  static inline thread_local bool in_making = false;
};

}  // namespace zo_base
