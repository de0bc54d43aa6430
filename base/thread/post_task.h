#pragma once

#include <functional>
#include <memory>

#include "base/thread/task_loop.h"

namespace zo_base {

// The one way to post. A single post can be missed: the loop waits without a predicate, so a
// notification between the end of a drain and the start of the next wait wakes nobody. Here the
// task goes to the high-priority lane and an empty task that is due at once follows it, which
// ends the next wait; the loop drains that lane once more after each walk over due tasks that ran
// one. So no instant is left in which a post is missed.
// Threads: any, the loop's own included.
// Errors:  a null loop, or one whose thread doesn't run, drops the task without a word.
void PostTo(const std::shared_ptr<ITaskLoop>& loop, const std::function<void()>& task);

// Posts on the thread object, whose queues keep the task if the thread doesn't run yet.
void PostTo(ITaskDelegate& thread, const std::function<void()>& task);

}  // namespace zo_base
