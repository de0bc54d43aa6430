#include "base/post_task.h"

namespace zo_base {
namespace {

template <class Target>
void Post(Target& target, const std::function<void()>& task) {
  target.PostHighPriorityTask(task);
  // Second, so that whoever has run it finds the first one in its lane.
  target.PostDelayedTask(0, [] {});
}

}  // namespace

void PostTo(const std::shared_ptr<ITaskLoop>& loop, std::function<void()> task) {
  if (loop) {
    Post(*loop, task);
  }
}

void PostTo(ITaskDelegate& thread, std::function<void()> task) {
  Post(thread, task);
}

}  // namespace zo_base
