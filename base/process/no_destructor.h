#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace zo_base {

// Holds a process-wide object that is never destroyed, so that no thread can use it after
// destruction while the process exits. A hook of base/process/unload_hook.h frees what it owns.
// Use: `static NoDestructor<T> it(arguments);` in a function.
template <class T>
class NoDestructor {
 public:
  template <class... Args>
  explicit NoDestructor(Args&&... args) {
    new (storage_) T(std::forward<Args>(args)...);
  }
  NoDestructor(const NoDestructor&) = delete;
  NoDestructor& operator=(const NoDestructor&) = delete;

  T& operator*() { return *get(); }
  T* operator->() { return get(); }
  T* get() { return std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace zo_base
