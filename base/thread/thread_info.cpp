#include "base/thread/thread_info.h"

namespace zo_base {
namespace {

// A plain pointer: a thread-local object with a destructor would keep the library from being
// unloaded.
thread_local ThreadInfo* current = nullptr;

}  // namespace

ThreadInfo* CurrentThreadInfo() {
  return current;
}

void SetCurrentThreadInfo(const ThreadInfo& info) {
  if (current == nullptr) {
    current = new ThreadInfo;
  }
  *current = info;
}

void ClearCurrentThreadInfo() {
  delete current;
  current = nullptr;
}

}  // namespace zo_base
