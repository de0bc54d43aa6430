#pragma once

#include <functional>
#include <memory>

#include "base/thread/task_loop.h"

namespace zo_base {

// Posts a task to the high-priority lane and makes sure that the loop sees it. Product code posts
// only with these two: a plain post made after the loop emptied its queue and before it waits isn't
// seen until another event. docs/architecture.md ("Posts") says why these aren't lost.
// Threads: any, including the loop's own.
// Owner:   the queue keeps a copy of the task; the caller keeps `task`.
// Errors:  silently drops the task if the loop is null or its thread doesn't run: no copy is kept.
void PostTo(const std::shared_ptr<ITaskLoop>& loop, const std::function<void()>& task);

// Posts to the thread's own queues, which keep the task if the thread doesn't run yet.
void PostTo(ITaskDelegate& queues, const std::function<void()>& task);

}  // namespace zo_base
