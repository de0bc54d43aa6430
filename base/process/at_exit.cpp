#include "base/process/at_exit.h"

#include <deque>
#include <utility>

#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"

namespace zo_base {
namespace {

// Managers of one context form a stack, since a callback of an ending manager can ask for one.
// Locks: the registry's mutex is a leaf; a manager's own is held while its callbacks run.
template <class Context>
class _AtExitManager final : public IAtExitManager<Context> {
 public:
  _AtExitManager() = default;
  virtual ~_AtExitManager();
  _AtExitManager(const _AtExitManager&) = delete;
  _AtExitManager& operator=(const _AtExitManager&) = delete;

  void RegisterCallback(std::function<void(void*)> callback, void* parameter) override {
    if (callback) {
      RegisterCallback([callback = std::move(callback), parameter] { callback(parameter); });
    }
  }

  // A held manager is the top: no newer one is made beside it. Only an ending one can have a newer
  // one above, which a callback asked for; what its callbacks then add to it still runs with it.
  void RegisterCallback(std::function<void()> callback) override {
    RecursiveMutexLock lock(mutex);
    callbacks.push_back(std::move(callback));
  }

  static std::shared_ptr<IAtExitManager<Context>> Get();

 private:
  struct Registry {
    Mutex mutex;
    // The innermost live manager.
    _AtExitManager* top ZO_GUARDED_BY(mutex) = nullptr;
    std::weak_ptr<IAtExitManager<Context>> current ZO_GUARDED_BY(mutex);
  };

  static Registry& TheRegistry() {
    static NoDestructor<Registry> registry;
    return *registry;
  }

  RecursiveMutex mutex;
  std::deque<std::function<void()>> callbacks ZO_GUARDED_BY(mutex);
  // The manager that was on top when this one was made. Guarded by the registry's mutex.
  _AtExitManager* previous = nullptr;
};

template <class Context>
std::shared_ptr<IAtExitManager<Context>> _AtExitManager<Context>::Get() {
  Registry& registry = TheRegistry();
  MutexLock lock(registry.mutex);
  if (auto current = registry.current.lock()) {
    return current;
  }
  auto made = std::make_shared<_AtExitManager>();
  made->previous = registry.top;
  registry.top = made.get();
  registry.current = made;
  return made;
}

template <class Context>
_AtExitManager<Context>::~_AtExitManager() {
  {
    RecursiveMutexLock lock(mutex);
    while (!callbacks.empty()) {
      // Popped before the call, so that a callback that registers another one runs once.
      std::function<void()> callback = std::move(callbacks.back());
      callbacks.pop_back();
      if (callback) {
        callback();
      }
    }
  }
  Registry& registry = TheRegistry();
  MutexLock lock(registry.mutex);
  // A newer manager can stand above this one by now.
  _AtExitManager** link = &registry.top;
  while (*link != this) {
    link = &(*link)->previous;
  }
  *link = previous;
  if (registry.current.expired()) {
    registry.current.reset();
  }
}

}  // namespace

template <class Context>
std::shared_ptr<IAtExitManager<Context>> IAtExitManager<Context>::Get() {
  return _AtExitManager<Context>::Get();
}

template class IAtExitManager<SturdyObject>;
template class IAtExitManager<ZOGlobalContext>;

}  // namespace zo_base
