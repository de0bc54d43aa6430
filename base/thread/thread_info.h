#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/thread/task_loop.h"

namespace zo_base {

// What a thread with a task loop knows of itself.
struct ThreadInfo {
  std::string name;
  std::shared_ptr<ITaskLoop> task_loop;
  uint32_t thread_id = 0;
};

// The calling thread's record, or null. It is the thread's own: don't hand it on.
ThreadInfo* CurrentThreadInfo();

// Makes the calling thread's record on first use, then assigns it.
void SetCurrentThreadInfo(const ThreadInfo& info);
void ClearCurrentThreadInfo();

}  // namespace zo_base
