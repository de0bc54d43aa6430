#include "base/process/unload_hook.h"

#include <cxxabi.h>

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "base/platform/thread.h"
#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"

// The linker's handle of this library.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the platform chose it
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;

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

std::atomic<bool> process_ends{false};

// An exiting process runs the exit handlers before any library's teardown; dlclose runs them after
// it. So a teardown that finds the mark set is part of the process's exit.
__attribute__((constructor)) void WatchForProcessEnd() {
  // If this fails, the hooks may run while the process exits; nothing else is lost.
  (void)AtEnd([] { process_ends = true; });
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
  if (!process_ends) {
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

bool AtEnd(void (*handler)()) {
  const auto call = [](void* function) { reinterpret_cast<void (*)()>(function)(); };
  return abi::__cxa_atexit(call, reinterpret_cast<void*>(handler), &__dso_handle) == 0;
}

void RunUnloadHooksForTest() {
  RunHooks();
}

}  // namespace zo_base
