#include "base/process/unload_hook.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/platform/end_of_process.h"
#include "base/platform/thread.h"
#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"

namespace zo_base {
namespace {

struct Hooks {
  Mutex mutex;
  std::vector<void (*)()> list ZO_GUARDED_BY(mutex);
};

Hooks& AllHooks() {
  static NoDestructor<Hooks> hooks;
  return *hooks;
}

std::vector<void (*)()> TakeHooks() {
  MutexLock lock(AllHooks().mutex);
  return std::exchange(AllHooks().list, {});
}

void RunHooks() {
  if (LiveLibraryThreads() != 0) {
    return;
  }
  // A hook may create an object again, which registers its hook again.
  for (std::vector<void (*)()> hooks = TakeHooks(); !hooks.empty(); hooks = TakeHooks()) {
    for (auto hook = hooks.rbegin(); hook != hooks.rend(); ++hook) {
      (*hook)();
    }
  }
}

__attribute__((destructor)) void OnTeardown() {
  if (!ProcessEnds()) {
    RunHooks();
  }
}

}  // namespace

void AtUnload(void (*hook)()) {
  Hooks& hooks = AllHooks();
  MutexLock lock(hooks.mutex);
  if (std::find(hooks.list.begin(), hooks.list.end(), hook) == hooks.list.end()) {
    hooks.list.push_back(hook);
  }
}

void RunUnloadHooksForTest() {
  RunHooks();
}

}  // namespace zo_base
