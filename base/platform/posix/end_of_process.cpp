#include "base/platform/end_of_process.h"

#include <cxxabi.h>

#include <atomic>

// The linker's handle of this library.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the platform chose it
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;

namespace zo_base {
namespace {

std::atomic<bool> process_ends{false};

// An exiting process runs the exit handlers before any library's teardown; dlclose runs them after
// it. So a teardown that finds the mark set is part of the process's exit.
__attribute__((constructor)) void WatchForProcessEnd() {
  // If this fails, the hooks may run while the process exits; nothing else is lost.
  (void)AtEnd([] { process_ends = true; });
}

}  // namespace

// Registers through __cxa_atexit with our handle: the std::atexit that sanitizers intercept loses
// the owner and would call the handler after dlclose.
bool AtEnd(void (*handler)()) {
  const auto call = [](void* function) { reinterpret_cast<void (*)()>(function)(); };
  return abi::__cxa_atexit(call, reinterpret_cast<void*>(handler), &__dso_handle) == 0;
}

bool ProcessEnds() {
  return process_ends;
}

}  // namespace zo_base
