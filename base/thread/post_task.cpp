#include "base/thread/post_task.h"

namespace zo_base {

void PostTo(const std::shared_ptr<ITaskLoop>& loop, const std::function<void()>& task) {
  if (loop) {
    loop->PostAndWake(task);
  }
}

void PostTo(ITaskDelegate& queues, const std::function<void()>& task) {
  queues.PostAndWake(task);
}

}  // namespace zo_base
