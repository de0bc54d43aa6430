#pragma once

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "base/sync/mutex.h"

namespace zo_base {

// Type of a weak flag. No object of it exists: the pointer is always null, and only its use count
// matters. A live flag has a count above 0.
struct ZOWeakFlag {};

// Makes closures that do nothing once their owner has cancelled them or is gone.
// A closure takes no strong reference and no lock: it guards against a call after the owner's
// destruction, not against a destruction during the call. So an object's closures run on its own
// thread, or are made by ForAnyThread (base/thread/for_any_thread.h).
// Threads: any may cancel or make closures; the lock inside is a leaf.
// Owner:   the class that derives from it.
// Errors:  an expired closure returns the default of its result and reports nothing.
class WeakClosureSupportor {
 public:
  template <class F>
  class __WeakClosure {
   public:
    __WeakClosure(std::weak_ptr<ZOWeakFlag> flag, F callable)
        : flag_(std::move(flag)), callable_(std::move(callable)) {}

    template <class... Args>
    auto operator()(Args&&... args) -> std::invoke_result_t<F&, Args&&...> {
      using Result = std::invoke_result_t<F&, Args&&...>;
      if (flag_.expired()) {
        return Result();
      }
      return std::invoke(callable_, std::forward<Args>(args)...);
    }

   private:
    std::weak_ptr<ZOWeakFlag> flag_;
    F callable_;
  };

  WeakClosureSupportor() = default;
  virtual ~WeakClosureSupportor();
  WeakClosureSupportor(const WeakClosureSupportor&) = delete;
  WeakClosureSupportor& operator=(const WeakClosureSupportor&) = delete;

  // Returns the flag that all closures since the last Cancel share.
  std::weak_ptr<ZOWeakFlag> GetWeakFlag();

  template <class F>
  __WeakClosure<std::decay_t<F>> ToWeakClosure(F&& callable) {
    return {GetWeakFlag(), std::forward<F>(callable)};
  }

  // True if GetWeakFlag or ToWeakClosure was called since the last Cancel.
  bool HasUsedFlag() const;

  // Expires every closure made so far; later ones aren't affected.
  void Cancel();

 private:
  mutable Mutex flag_mutex_;
  // Empty until the flag is asked for, and again after a Cancel.
  std::shared_ptr<ZOWeakFlag> weak_flag ZO_GUARDED_BY(flag_mutex_);
};

}  // namespace zo_base
