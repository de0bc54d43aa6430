#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "base/object/object.h"
#include "base/thread/task_loop.h"
#include "base/thread/thread_info.h"

namespace zo_base {

// Makes a weak closure of `self` that any thread may run. A foreign thread holds `self` for the
// run, so `self` may die there. The thread of `own_loop` doesn't: `self` joins that thread in its
// destructor, so it must not die on it. The closure doesn't keep `own_loop` alive, since answers
// go elsewhere once a loop is gone.
// Owner:  a shared pointer to `self`; without one, foreign threads do nothing.
// Errors: once `self` is gone or has cancelled its closures, the closure does nothing and returns
//         the default of its result.
template <class F>
auto ForAnyThread(ZOObjectIMPL& self, const std::shared_ptr<ITaskLoop>& own_loop, F function) {
  return [own_loop = std::weak_ptr<ITaskLoop>(own_loop), owner = self.weak_from_this(),
          closure = self.ToWeakClosure(std::move(function))](auto&&... arguments) mutable {
    using Result = std::invoke_result_t<decltype(closure)&, decltype(arguments)...>;
    const ThreadInfo* const thread = CurrentThreadInfo();
    const bool is_own =
        thread != nullptr && thread->task_loop != nullptr && thread->task_loop == own_loop.lock();
    if (!is_own) {
      const auto held = owner.lock();
      return held ? closure(std::forward<decltype(arguments)>(arguments)...) : Result();
    }
    return closure(std::forward<decltype(arguments)>(arguments)...);
  };
}

}  // namespace zo_base
