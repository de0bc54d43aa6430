#pragma once

#include <functional>
#include <memory>

#include "base/thread/task_loop.h"

namespace zo_base {

// Posts a task to the high-priority lane so that the loop is sure to run it. Product code posts
// only with these. A plain post can be missed: the loop waits without a predicate, so a
// notification between the end of a drain and the start of the next wait has no effect. Threads:
// any, including the loop's own. Errors:  silently drops the task if the loop is null or its thread
// doesn't run.
void PostTo(const std::shared_ptr<ITaskLoop>& loop, const std::function<void()>& task);

// Posts on the thread object, whose queues keep the task if the thread doesn't run yet.
void PostTo(ITaskDelegate& thread, const std::function<void()>& task);

}  // namespace zo_base
