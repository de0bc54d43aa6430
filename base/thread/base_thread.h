#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "base/sync/condition.h"
#include "base/sync/mutex.h"
#include "base/thread/task_loop.h"
#include "base/thread/thread.h"

namespace zo_base {

// The places of a pass of the loop, and of a post, at which a test can hold it.
enum class LoopStep {
  kPassBegins,
  kWaitMutexHeld,
  kMarkedWaiting,
  kWaitReckoned,
  kWaited,
  kDrainedPriority,
  kDrainedNormal,
  kBeforeWalk,
  kDrainedBeforeWalk,
  kDelayedMutexHeld,
  kTaskRan,
  kWalked,
  kPassEnds,
  // On the thread that posts: before its task is stored, and after it has marked a wake-up as
  // pending.
  kPosterAppends,
  kPosterMarked,
};

// One system thread with a task loop, started at most once. It waits for a post or the earliest
// due time; a notification runs the queues, and every pass runs what is due.
// Threads: any may post, ask and request the stop; Start, Stop and Join come from the owner.
// Owner:   a shared pointer, or its loop drops all posts. The owner calls Stop before it lets go,
//          and a derived class also stops in its own destructor, since the base's comes too late
//          for the members that tasks use. The last reference must not go on the thread itself.
// Errors:  an exception from a task ends the process. Stop and Join of a started thread from itself
//          throw the standard deadlock error. Tasks that are pending at the stop are dropped.
// Locks:   none is held while an immediate task runs, but `start_mutex` for those that wait when
//          the thread begins; `delayed_mutex`, which is recursive, is held while delayed tasks
//          run. `wake_mutex` is a leaf.
class BaseThread : public IThread, public ITaskDelegate {
 public:
  explicit BaseThread(const std::string& name);
  ~BaseThread() override;

  bool IsRunning() override;
  // Returns once the slots of the begin signals have run on the new thread. Never returns on a
  // thread that has been stopped. A system error leaves the object as it was.
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

  // A post that ends a wait needs no more; otherwise one pending wake-up serves all posts that come
  // before it is run.
  void PostAndWake(const std::function<void()>& task) override;

  // Interrupts nothing: a task that runs is finished, and no further one is begun. For good: a
  // Start that this overtakes before the begin signals never returns. Their slots may call it.
  virtual void RequestStop();

  // Called at each step of every loop, on its thread or the one that posts; null takes it away.
  // The function outlives all loops that can see it.
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
    // Runs still owed; 0 for a one-shot.
    int64_t times;
    std::function<void()> task;
    std::function<void(int, const std::function<void()>&, long long)> repost;
  };
  struct DueTasks {
    uint64_t due_ms;
    std::list<DelayTask> tasks;
  };
  using TaskQueue = std::deque<std::function<void()>>;
  enum class Wake { kNotified, kTimedOut };
  struct WalkResult {
    bool stopped;
    bool ran;
  };

  // True if the thread was waiting: the pass that this begins runs what has been stored.
  bool Notify();
  // These two: the lane's mutex is held.
  static void AppendLocked(TaskQueue& working, TaskQueue& incoming, std::atomic<bool>& filled,
                           const std::function<void()>& task);
  static bool TakeIncomingLocked(TaskQueue& working, TaskQueue& incoming,
                                 std::atomic<bool>& filled);
  void AppendPriority(const std::function<void()>& task);
  void PostDelayed(int delay_ms, const std::function<void()>& task, long long times);
  void AppendDelayed(int delay_ms, const std::function<void()>& task, long long times);

  bool RunPass();
  Wake WaitForWork();
  int64_t WaitMs() const;
  bool Begin();
  bool DrainPriorityQueue();
  bool DrainQueues();
  bool RunFront(TaskQueue& working, std::atomic<bool>& filled);
  bool TakePriorityIncoming();
  bool TakeNormalIncoming();
  bool RunDueDelayedTasks();
  WalkResult WalkDueTasksLocked(std::list<DelayTask>& done) ZO_REQUIRES(delayed_mutex);
  bool RunDueEntryLocked(DueTasks& entry, std::list<DelayTask>& done) ZO_REQUIRES(delayed_mutex);
  void MirrorEarliestDueLocked() ZO_REQUIRES(delayed_mutex);
  void Step(LoopStep step);

  // Held while the begin signals are emitted, and until Start has stored the thread.
  Mutex start_mutex;
  RecursiveMutex wake_mutex;
  RecursiveMutex priority_queue_mutex;
  RecursiveMutex delayed_mutex;
  RecursiveMutex normal_queue_mutex;
  // A working queue is the thread's own, without the lane's mutex, while it is marked filled.
  // Others may touch it, under that mutex, only while it isn't, which means that it is empty.
  TaskQueue normal_working;
  TaskQueue normal_incoming ZO_GUARDED_BY(normal_queue_mutex);
  TaskQueue priority_working;
  TaskQueue priority_incoming ZO_GUARDED_BY(priority_queue_mutex);
  std::atomic<bool> normal_filled{false};
  std::atomic<bool> priority_filled{false};
  // By due time on the monotonic clock.
  std::map<uint64_t, DueTasks> delayed_tasks ZO_GUARDED_BY(delayed_mutex);
  // The first key of the map, for the loop's wait; the largest value if there is none.
  std::atomic<uint64_t> earliest_due_ms;
  std::atomic<bool> wake_up_pending{false};
  // The thread waits, or is about to, and nobody has notified it yet.
  std::atomic<bool> waiting{false};
  Condition wake_condition;
  std::atomic<uint8_t> stop_requested{0};
  std::atomic<uint8_t> first_pass{1};
  std::atomic<uint8_t> running{0};
  // Set with `running` and not cleared at the end, so that Start sees a short life too.
  std::atomic<uint8_t> begun{0};
  std::unique_ptr<std::thread> thread;
  Condition begin_condition;
  const std::string name;
  std::atomic<uint32_t> thread_id{0};
  const std::shared_ptr<ThreadTaskLoop> task_loop;
};

}  // namespace zo_base
