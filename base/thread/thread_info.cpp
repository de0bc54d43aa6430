#include "base/thread/thread_info.h"

namespace zo_base {
namespace {

// A raw pointer: a thread-local object with a destructor would prevent unloading the library.
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
