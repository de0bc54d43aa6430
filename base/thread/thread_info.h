#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/thread/task_loop.h"

namespace zo_base {

// Describes a running thread that has a task loop. Each thread has a record of its own, which the
// functions below create, return and free; none of them touches that of another thread.
struct ThreadInfo {
  std::string name;
  std::shared_ptr<ITaskLoop> task_loop;
  uint32_t thread_id = 0;
};

// Returns the calling thread's record, or null. Don't pass it to another thread.
ThreadInfo* CurrentThreadInfo();

// Assigns the calling thread's record; creates it on first use.
void SetCurrentThreadInfo(const ThreadInfo& info);
void ClearCurrentThreadInfo();

}  // namespace zo_base
