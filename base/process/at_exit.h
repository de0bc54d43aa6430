#pragma once

#include <functional>
#include <memory>

#include "base/process/tags.h"

namespace zo_base {

// A stack of callbacks that run, last one first, when the manager of a context ends.
// Threads: any. Callbacks run on the thread that drops the last reference, with the manager's
//          recursive mutex held; they may register further ones and ask for a manager.
// Owner:   whoever called Get; an environment keeps one for as long as it lives.
// Errors:  an empty callback is passed over.
template <class Context>
class IAtExitManager {
 public:
  virtual void RegisterCallback(std::function<void(void*)> callback, void* parameter) = 0;
  virtual void RegisterCallback(std::function<void()> callback) = 0;

  // The live manager of the context, or a new one.
  static std::shared_ptr<IAtExitManager> Get();

 protected:
  ~IAtExitManager() = default;
};

extern template class IAtExitManager<SturdyObject>;
extern template class IAtExitManager<ZOGlobalContext>;

}  // namespace zo_base
