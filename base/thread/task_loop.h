#pragma once

#include <functional>
#include <memory>

namespace zo_base {

// Work crosses threads as closures on task loops. Product code posts with
// base/thread/post_task.h only, since a plain post can go unnoticed until the next event.

// The thread object as its loop uses it. Its queues keep tasks that are posted before it runs.
// Lanes: high-priority tasks run before normal ones and between any two of them; normal tasks run
// in posting order; delayed tasks run by due time, those of one millisecond in posting order.
// Threads: any may post.
class ITaskDelegate {
 public:
  virtual void PostTask(const std::function<void()>& task) = 0;
  virtual void PostHighPriorityTask(const std::function<void()>& task) = 0;
  // A negative delay means due already.
  virtual void PostDelayedTask(int delay_ms, const std::function<void()>& task) = 0;
  // Runs once for 0 times, until the thread stops for a negative number. Each delay counts from the
  // start of the run before.
  virtual void PostRepeatedTask(int delay_ms, const std::function<void()>& task, int times) = 0;
  // A high-priority task that the loop is sure to run before it waits again.
  virtual void PostAndWake(const std::function<void()>& task) = 0;

 protected:
  ~ITaskDelegate() = default;
};

class ITaskPostor {
 public:
  virtual ~ITaskPostor() = default;
  virtual void PostTask(const std::function<void()>& task) = 0;
  virtual void PostHighPriorityTask(const std::function<void()>& task) = 0;
  virtual void PostDelayedTask(int delay_ms, const std::function<void()>& task) = 0;
  virtual void PostRepeatedTask(int delay_ms, const std::function<void()>& task, int times) = 0;
};

// Access to a thread's queues that doesn't own the thread.
// Threads: any may post.
// Errors:  silently drops a post to a thread that doesn't run yet or is gone.
class ITaskLoop : public ITaskPostor {
 public:
  virtual void AttachDelegate(const std::shared_ptr<ITaskDelegate>& delegate) = 0;
  // As the delegate's.
  virtual void PostAndWake(const std::function<void()>& task) = 0;
};

}  // namespace zo_base
