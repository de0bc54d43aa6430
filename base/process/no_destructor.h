#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace zo_base {

// Holds a process-wide object that is never destroyed, so that no thread can use it after
// destruction while the process exits. Use: `static NoDestructor<T> it(arguments);` in a function.
// Threads: any may reach it, since the language makes a static once. The object guards itself.
// Owner:   the process. Nothing frees what the object owns: to leak nothing when the library is
//          unloaded, it must be empty by then or register an AtUnload hook.
// Errors:  those of T's constructor; the next call tries again.
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
