#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "base/object/weak_closure.h"
#include "base/thread/task_loop.h"
#include "base/thread/thread_info.h"

namespace zo_base {

template <class T, class Plain>
class __AnyThreadClosure {
 public:
  __AnyThreadClosure(std::weak_ptr<ITaskLoop> own_loop, std::weak_ptr<T> owner, Plain plain)
      : own_loop_(std::move(own_loop)), owner_(std::move(owner)), plain_(std::move(plain)) {}

  template <class... Args>
  auto operator()(Args&&... args) -> std::invoke_result_t<Plain&, Args&&...> {
    const ThreadInfo* thread = CurrentThreadInfo();
    if (thread != nullptr && thread->task_loop != nullptr &&
        thread->task_loop == own_loop_.lock()) {
      return plain_(std::forward<Args>(args)...);
    }
    const std::shared_ptr<T> held = owner_.lock();
    if (held == nullptr) {
      return std::invoke_result_t<Plain&, Args&&...>();
    }
    return plain_(std::forward<Args>(args)...);
  }

 private:
  std::weak_ptr<ITaskLoop> own_loop_;
  std::weak_ptr<T> owner_;
  Plain plain_;
};

// A closure of `owner` that any thread may run. `plain` is a weak closure of the owner. On the
// thread of `own_loop` it runs as it is, since the owner waits for that thread in its end, and must
// not die on it. On every other thread the owner is held for the run; once it is gone, the closure
// does nothing and gives the default of its result.
template <class T, class Plain>
auto AnyThreadClosure(std::weak_ptr<ITaskLoop> own_loop, std::weak_ptr<T> owner, Plain plain) {
  return __AnyThreadClosure<T, Plain>(std::move(own_loop), std::move(owner), std::move(plain));
}

}  // namespace zo_base
