#pragma once

#include <functional>
#include <memory>

#include "base/thread/task_loop.h"

namespace zo_base {

// Posts a task to the high-priority lane and makes sure that the loop sees it. Product code posts
// only with these two: a plain post between a drain and the next wait goes unnoticed until another
// event. docs/architecture.md ("Posts") says why these aren't lost.
// Threads: any, including the loop's own.
// Errors:  silently drops the task if the loop is null or its thread doesn't run.
void PostTo(const std::shared_ptr<ITaskLoop>& loop, const std::function<void()>& task);

// Posts on the thread object, whose queues keep the task if the thread doesn't run yet.
void PostTo(ITaskDelegate& thread, const std::function<void()>& task);

}  // namespace zo_base
