#include "base/process/at_exit.h"

#include <deque>
#include <utility>

#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"

namespace zo_base {
namespace {

// Managers of one context form a stack: a callback of an ending manager can request a new one.
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

  // A referenced manager is the top. Only an ending one can have a newer one above it, requested by
  // a callback; callbacks that are then added to the ending one still run with it.
  void RegisterCallback(std::function<void()> callback) override {
    RecursiveMutexLock lock(mutex);
    callbacks.push_back(std::move(callback));
  }

  static std::shared_ptr<IAtExitManager<Context>> Get();

 private:
  struct Registry {
    Mutex mutex;
    // The innermost manager that exists.
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
      // Pop before the call, so that a callback that registers another one runs once.
      std::function<void()> callback = std::move(callbacks.back());
      callbacks.pop_back();
      if (callback) {
        callback();
      }
    }
  }
  Registry& registry = TheRegistry();
  MutexLock lock(registry.mutex);
  // A newer manager may be above this one.
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
