#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "base/sync/mutex.h"
#include "base/thread/task_loop.h"
#include "base/thread/thread.h"

namespace zo_base {

// The steps of a pass of the loop, and of a post, at which a test can hold the thread.
enum class LoopStep {
  kPassBegins,
  kWaitMutexHeld,
  kMarkedWaiting,
  kWaitComputed,
  kWaited,
  kDrainedPriority,
  kDrainedNormal,
  kBeforeWalk,
  kDrainedBeforeWalk,
  kDelayedMutexHeld,
  kTaskRan,
  kWalked,
  kPassEnds,
  // On the posting thread: before its task is stored, before it looks whether the loop waits, and
  // before it notifies a loop that does.
  kPosterAppends,
  kNotifies,
  kWakes,
};

// One system thread with a task loop, started at most once. It waits for a post or the earliest
// due time. A notification runs the queues; every pass runs the tasks that are due.
// Threads: any may post, query and call RequestStop. Start, Stop and Join belong to the owner.
// Owner:   a shared pointer; without one its loop drops all posts. The owner calls Stop before it
//          releases the thread. A derived class also stops in its destructor, since the base's runs
//          too late for the members that tasks use. The last reference must not be released on the
//          thread itself.
// Errors:  a task that runs out of memory ends there, with a log line, and the loop goes on. Any
//          other exception from a task ends the process. Stop and Join on the thread itself throw
//          std::system_error (resource_deadlock_would_occur). Tasks that are pending at the stop
//          are dropped.
// Locks:   none is held while an immediate task runs, except `start_mutex` for tasks that are
//          queued when the thread begins. `delayed_mutex`, which is recursive, is held while
//          delayed tasks run. `wake_mutex` is a leaf.
class BaseThread : public IThread, public ITaskDelegate {
 public:
  explicit BaseThread(const std::string& name);
  ~BaseThread() override;

  bool IsRunning() override;
  // Returns once the slots of the begin signals have run on the new thread. After a RequestStop it
  // blocks for ever. Throws with nothing started: std::system_error if no thread can be made,
  // std::bad_alloc if there is no memory, also for a slot. It can be called again then.
  void Start() override;
  void Stop() override;
  void Join() override;
  void Run() override;
  std::shared_ptr<ITaskLoop> GetTaskLoop() override;
  bool IsCurrentThread() override;
  void SetThreadInfo(const ThreadInfo& info) override;
  void ClearThreadInfo() override;

  void PostTask(const std::function<void()>& task) override;
  void PostHighPriorityTask(const std::function<void()>& task) override;
  void PostDelayedTask(int delay_ms, const std::function<void()>& task) override;
  void PostRepeatedTask(int delay_ms, const std::function<void()>& task, int times) override;

  void PostAndWake(const std::function<void()>& task) override;

  // Permanent. The running task finishes, and no further one begins. A Start that hasn't emitted
  // the begin signals by then never returns. Slots of those signals may call it.
  virtual void RequestStop();

  // Called at each step of every loop, on its thread or the posting one. Null removes the hook. It
  // must outlive all loops that can see it.
  using StepHook = std::function<void(BaseThread&, LoopStep)>;
  static void SetStepHookForTest(const StepHook* hook);

 protected:
  virtual void DoJoin();
  virtual void ThreadMain();
  virtual void RunLoop();

 private:
  class ThreadTaskLoop;
  class ClockWaker;

  struct DelayTask {
    int32_t delay_ms;
    // Runs left; 0 for a single run.
    int64_t times;
    std::function<void()> task;
    // Posts the next run: PostDelayed of this thread. Part of the record's fixed shape.
    std::function<void(int, const std::function<void()>&, long long)> repost;
  };
  struct DueTasks {
    uint64_t due_ms;
    std::list<DelayTask> tasks;
  };
  using TaskQueue = std::deque<std::function<void()>>;
  enum class Wake { kNotified, kTimedOut };
  // Values of `begun`.
  enum BeginState : uint8_t { kNotBegun, kBegun, kEndedFirst };

  void MainOrEndFirst();
  void Notify();
  // Require the mutex of these two queues.
  static void AppendLocked(TaskQueue& working, TaskQueue& incoming, std::atomic<bool>& filled,
                           const std::function<void()>& task);
  // Returns whether the working queue has tasks now.
  static bool TakeIncomingLocked(TaskQueue& working, TaskQueue& incoming,
                                 std::atomic<bool>& filled);
  void AppendPriority(const std::function<void()>& task);
  void PostDelayed(int delay_ms, const std::function<void()>& task, long long times);

  bool RunPass();
  Wake WaitForWork();
  int64_t WaitMs() const;
  bool Begin();
  bool DrainPriorityQueue();
  bool DrainQueues();
  bool RunFront(TaskQueue& working, std::atomic<bool>& filled);
  template <class Task>
  void RunTask(const Task& task);
  bool TakePriorityIncoming();
  bool TakeNormalIncoming();
  bool RunDueDelayedTasks();
  bool WalkDueTasksLocked(std::list<DelayTask>& done) ZO_REQUIRES(delayed_mutex);
  bool RunDueEntryLocked(DueTasks& entry, std::list<DelayTask>& done) ZO_REQUIRES(delayed_mutex);
  void MirrorEarliestDueLocked() ZO_REQUIRES(delayed_mutex);
  void Step(LoopStep step);

  // Start holds it until `thread` is stored. The thread holds it while it emits the begin signals
  // and runs the tasks queued by then.
  Mutex start_mutex;
  RecursiveMutex wake_mutex;
  RecursiveMutex priority_queue_mutex;
  RecursiveMutex delayed_mutex;
  RecursiveMutex normal_queue_mutex;
  // Posts go to an incoming queue, and the thread runs the working queue. While a working queue is
  // marked filled, only the thread touches it, without the queue's mutex. Unmarked, it is empty,
  // and posting threads may fill it under that mutex.
  TaskQueue normal_working;
  TaskQueue normal_incoming ZO_GUARDED_BY(normal_queue_mutex);
  TaskQueue priority_working;
  TaskQueue priority_incoming ZO_GUARDED_BY(priority_queue_mutex);
  std::atomic<bool> normal_filled{false};
  std::atomic<bool> priority_filled{false};
  // By due time on the monotonic clock.
  std::map<uint64_t, DueTasks> delayed_tasks ZO_GUARDED_BY(delayed_mutex);
  // Mirrors the first key of the map for the loop's wait; the largest value if it is empty.
  std::atomic<uint64_t> earliest_due_ms;
  // A task was posted that a drain may not have run yet, so the loop doesn't wait.
  std::atomic<bool> wake_requested{false};
  // The thread waits, or is about to. Only the loop changes it.
  std::atomic<bool> waiting{false};
  std::condition_variable_any wake_condition;
  std::atomic<uint8_t> stop_requested{0};
  // Set until the begin signals, which can take several passes, and again after the loop.
  std::atomic<uint8_t> first_pass{1};
  std::atomic<uint8_t> running{0};
  // Set with `running` and not cleared at the end, so that Start also sees a thread that has ended.
  std::atomic<uint8_t> begun{kNotBegun};
  std::unique_ptr<std::thread> thread;
  // Part of the class's fixed shape. Notified after the begin signals; no thread waits on it, since
  // Start polls `begun`.
  std::condition_variable begin_condition;
  const std::string name;
  std::atomic<uint32_t> thread_id{0};
  const std::shared_ptr<ThreadTaskLoop> task_loop;
};

}  // namespace zo_base
