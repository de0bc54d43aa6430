#pragma once

#include <functional>
#include <memory>

namespace zo_base {

// Work crosses threads as closures on task loops. Product code posts by base/thread/post_task.h
// alone, since a single post through these interfaces can stay unseen until the next one.

// The thread object as its loop sees it. Its queues keep what is posted before the thread runs.
// Lanes: high-priority tasks run before normal ones and between any two of them; normal tasks run
// in posting order; delayed tasks run by due time, those of one millisecond in posting order.
// Threads: any may post.
class ITaskDelegate {
 public:
  virtual void PostTask(const std::function<void()>& task) = 0;
  virtual void PostHighPriorityTask(const std::function<void()>& task) = 0;
  // A negative delay counts as due already.
  virtual void PostDelayedTask(int delay_ms, const std::function<void()>& task) = 0;
  // 0 times is one run, a negative number repeats until the thread stops. Each next run is
  // reckoned from the start of the one before.
  virtual void PostRepeatedTask(int delay_ms, const std::function<void()>& task, int times) = 0;
  // A high-priority task, and then an empty delayed one that is due at once, so that the loop is
  // sure to see the first.
  virtual void PostAndWake(const std::function<void()>& task) {
    PostHighPriorityTask(task);
    PostDelayedTask(0, [] {});
  }

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

// The door to a thread's queues that doesn't own the thread.
// Threads: any may post.
// Errors:  a post to a thread that doesn't run yet, or is gone, is dropped without a word.
class ITaskLoop : public ITaskPostor {
 public:
  virtual void AttachDelegate(const std::shared_ptr<ITaskDelegate>& delegate) = 0;
  // As the delegate's.
  virtual void PostAndWake(const std::function<void()>& task) {
    PostHighPriorityTask(task);
    PostDelayedTask(0, [] {});
  }
};

}  // namespace zo_base
