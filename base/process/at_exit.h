#pragma once

#include <functional>
#include <memory>

#include "base/process/tags.h"

namespace zo_base {

// A stack of callbacks that run, last one first, when the manager of a context is destroyed.
// Threads: any. Callbacks run on the thread that releases the last reference, with the manager's
//          recursive mutex held; they may register callbacks and call Get.
// Owner:   the callers of Get; an environment holds a reference while it exists.
// Errors:  ignores an empty callback.
template <class Context>
class IAtExitManager {
 public:
  virtual void RegisterCallback(std::function<void(void*)> callback, void* parameter) = 0;
  virtual void RegisterCallback(std::function<void()> callback) = 0;

  // Returns the current manager of the context, or a new one.
  static std::shared_ptr<IAtExitManager> Get();

 protected:
  ~IAtExitManager() = default;
};

extern template class IAtExitManager<SturdyObject>;
extern template class IAtExitManager<ZOGlobalContext>;

}  // namespace zo_base
