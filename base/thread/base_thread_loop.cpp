#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

#include "base/log/log.h"
#include "base/thread/base_thread.h"
#include "base/thread/clock.h"

namespace zo_base {

// The loop of a thread, and the posts to it. docs/architecture.md ("Posts") says why a PostTo is
// never lost.

namespace {

// The wait of each pass until the begin signals. They follow the first wait that times out.
constexpr int64_t kFirstWaitMs = 1;
// 61 days: the wait of a thread that has nothing to do.
constexpr int64_t kIdleWaitMs = 5'270'400'000;
// Bounds the finished tasks that a walk keeps until it ends: a repeat of 0 ms is due again after
// each run, without end. The next pass runs the rest at once.
constexpr size_t kMostTasksPerWalk = 1000;
constexpr uint64_t kNothingDue = std::numeric_limits<uint64_t>::max();

std::atomic<const BaseThread::StepHook*> step_hook{nullptr};

uint64_t NowMs() {
  return static_cast<uint64_t>(std::max<int64_t>(Clock::MonotonicMs(), 0));
}

}  // namespace

// Wakes the loop when a test sets the clock, so that it computes its wait again.
class BaseThread::ClockWaker final : public ClockListener {
 public:
  explicit ClockWaker(BaseThread& thread) : thread_(thread) { Clock::AddListener(this); }
  virtual ~ClockWaker() { Clock::RemoveListener(this); }
  ClockWaker(const ClockWaker&) = delete;
  ClockWaker& operator=(const ClockWaker&) = delete;

  void OnClockSet() override { thread_.Notify(); }

 private:
  BaseThread& thread_;
};

void BaseThread::SetStepHookForTest(const StepHook* hook) {
  step_hook = hook;
}

void BaseThread::Step(LoopStep step) {
  if (const StepHook* hook = step_hook.load(std::memory_order_acquire)) {
    (*hook)(*this, step);
  }
}

// --- Posts ---

// Call after storing the task, due time, wake request or stop. If `waiting` is still false here,
// the loop will see a due time, a wake request or a stop before it sleeps, so it need not be
// notified. A plain post may go unseen until the next event.
void BaseThread::Notify() {
  Step(LoopStep::kNotifies);
  if (!waiting) {
    return;
  }
  {
    RecursiveMutexLock lock(wake_mutex);
    // The loop holds the mutex from setting `waiting` to its wait, so it is in its wait now. Leave
    // the flag set: this thread may be held up before it notifies, and another poster must then
    // notify too.
    if (!waiting) {
      return;
    }
  }
  Step(LoopStep::kWakes);
  // Notify without the mutex, which the waking thread takes. If the loop has timed out and waits
  // again, it makes one extra pass.
  wake_condition.notify_all();
}

void BaseThread::AppendLocked(TaskQueue& working, TaskQueue& incoming, std::atomic<bool>& filled,
                              const std::function<void()>& task) {
  incoming.push_back(task);
  if (!filled) {
    working.swap(incoming);
    filled = true;
  }
}

void BaseThread::PostTask(const std::function<void()>& task) {
  {
    RecursiveMutexLock lock(normal_queue_mutex);
    AppendLocked(normal_working, normal_incoming, normal_filled, task);
  }
  Notify();
}

void BaseThread::PostHighPriorityTask(const std::function<void()>& task) {
  AppendPriority(task);
  Notify();
}

void BaseThread::AppendPriority(const std::function<void()>& task) {
  Step(LoopStep::kPosterAppends);
  RecursiveMutexLock lock(priority_queue_mutex);
  AppendLocked(priority_working, priority_incoming, priority_filled, task);
}

void BaseThread::PostDelayedTask(int delay_ms, const std::function<void()>& task) {
  PostDelayed(delay_ms, task, 0);
}

void BaseThread::PostRepeatedTask(int delay_ms, const std::function<void()>& task, int times) {
  PostDelayed(delay_ms, task, times);
}

// The thread itself may post in a walk over due tasks and then notifies with `delayed_mutex` held,
// so `wake_mutex` comes last in the lock order.
void BaseThread::PostDelayed(int delay_ms, const std::function<void()>& task, long long times) {
  {
    RecursiveMutexLock lock(delayed_mutex);
    const uint64_t now_ms = NowMs();
    const auto length_ms = static_cast<uint64_t>(std::abs(static_cast<int64_t>(delay_ms)));
    const uint64_t due_ms =
        delay_ms >= 0 ? now_ms + length_ms : now_ms - std::min(now_ms, length_ms);
    DueTasks& entry = delayed_tasks.try_emplace(due_ms, DueTasks{due_ms, {}}).first->second;
    entry.tasks.push_back({delay_ms,
                           times < 0 ? std::numeric_limits<int64_t>::max() : int64_t{times}, task,
                           [this](int delay, const std::function<void()>& again, long long left) {
                             PostDelayed(delay, again, left);
                           }});
    MirrorEarliestDueLocked();
  }
  Notify();
}

// Sets the request after the task is stored: the loop clears it before it drains the queue, so it
// either runs the task or finds the request when it computes its next wait.
void BaseThread::PostAndWake(const std::function<void()>& task) {
  AppendPriority(task);
  // Read first: the loop's processor keeps the flag's cache line while the flag stays set.
  if (!wake_requested) {
    wake_requested = true;
  }
  Notify();
}

void BaseThread::MirrorEarliestDueLocked() {
  earliest_due_ms = delayed_tasks.empty() ? kNothingDue : delayed_tasks.begin()->first;
}

// --- The loop ---

void BaseThread::RunLoop() {
  {
    ClockWaker waker(*this);
    while (RunPass()) {
    }
  }
  ClearThreadInfo();
  running.exchange(0);
  first_pass.exchange(1);
}

// Returns false once it sees the stop. Begin, RunFront, the drains and the runs of due tasks do the
// same.
bool BaseThread::RunPass() {
  Step(LoopStep::kPassBegins);
  if (stop_requested != 0) {
    return false;
  }
  const Wake wake = WaitForWork();
  Step(LoopStep::kWaited);
  if (stop_requested != 0) {
    return false;
  }
  if (wake == Wake::kNotified) {
    if (!DrainQueues()) {
      return false;
    }
  } else if (first_pass != 0) {
    if (!Begin()) {
      return false;
    }
  }
  Step(LoopStep::kBeforeWalk);
  const bool goes_on = RunDueDelayedTasks();
  Step(LoopStep::kPassEnds);
  return goes_on;
}

// The wait has no predicate: a plain post that comes between the drain and the wait isn't seen
// until the next event. A stop, a due task and a post with a wake-up are.
BaseThread::Wake BaseThread::WaitForWork() {
  RecursiveMutexLock lock(wake_mutex);
  Step(LoopStep::kWaitMutexHeld);
  // Set `waiting` before computing the wait. Other threads store a due time, wake request or stop
  // first and then read `waiting`. So either the wait is computed from it, or they notify.
  waiting = true;
  Step(LoopStep::kMarkedWaiting);
  const int64_t wait_ms = WaitMs();
  Step(LoopStep::kWaitComputed);
  Wake wake = Wake::kTimedOut;
  // Wait for a duration, not until a time, so that setting the system's clock delays no timer.
  if (wait_ms > 0 && wake_condition.wait_for(wake_mutex, std::chrono::milliseconds(wait_ms)) ==
                         std::cv_status::no_timeout) {
    wake = Wake::kNotified;
  }
  waiting = false;
  // Every path from here begins with a drain of the high-priority queue.
  wake_requested = false;
  return wake;
}

int64_t BaseThread::WaitMs() const {
  if (stop_requested != 0) {
    return 0;
  }
  if (first_pass != 0) {
    return kFirstWaitMs;
  }
  const uint64_t due_ms = earliest_due_ms;
  const uint64_t now_ms = NowMs();
  if (wake_requested || due_ms <= now_ms) {
    return 0;
  }
  return static_cast<int64_t>(std::min<uint64_t>(due_ms - now_ms, kIdleWaitMs));
}

// Emits the begin signals, after the first wait that ends without a notification.
bool BaseThread::Begin() {
  if (stop_requested != 0) {
    return false;
  }
  first_pass.exchange(0);
  MutexLock lock(start_mutex);
  Emit(IThread::SIG_InternalBegin);
  Emit(IThread::SIG_ThreadBegin);
  running.exchange(1);
  begun = kBegun;
  begin_condition.notify_all();
  return DrainQueues();
}

// --- The queues ---

// A task that fails has no outcome. Its waiting owner learns that when the closure is destroyed.
template <class Task>
void BaseThread::RunTask(const Task& task) {
  try {
    task();
  } catch (const std::bad_alloc&) {
    ZO_LOG(LV_APP) << "[thread] No memory for a task of " << name;
  }
}

// Runs and removes the front task.
bool BaseThread::RunFront(TaskQueue& working, std::atomic<bool>& filled) {
  RunTask(working.front());
  if (stop_requested != 0) {
    return false;
  }
  working.pop_front();
  if (working.empty()) {
    filled = false;
  }
  return stop_requested == 0;
}

bool BaseThread::TakeIncomingLocked(TaskQueue& working, TaskQueue& incoming,
                                    std::atomic<bool>& filled) {
  // A post may have filled the working queue meanwhile: its tasks are older than the incoming ones.
  if (filled) {
    return true;
  }
  if (incoming.empty()) {
    return false;
  }
  working.swap(incoming);
  filled = true;
  return true;
}

bool BaseThread::TakePriorityIncoming() {
  RecursiveMutexLock lock(priority_queue_mutex);
  return TakeIncomingLocked(priority_working, priority_incoming, priority_filled);
}

bool BaseThread::TakeNormalIncoming() {
  RecursiveMutexLock lock(normal_queue_mutex);
  return TakeIncomingLocked(normal_working, normal_incoming, normal_filled);
}

bool BaseThread::DrainPriorityQueue() {
  do {
    if (stop_requested != 0) {
      return false;
    }
    while (priority_filled) {
      if (!RunFront(priority_working, priority_filled)) {
        return false;
      }
    }
  } while (TakePriorityIncoming());
  Step(LoopStep::kDrainedPriority);
  return true;
}

bool BaseThread::DrainQueues() {
  do {
    if (!DrainPriorityQueue()) {
      return false;
    }
    while (normal_filled) {
      if (!RunFront(normal_working, normal_filled) || !DrainPriorityQueue()) {
        return false;
      }
    }
  } while (TakeNormalIncoming());
  Step(LoopStep::kDrainedNormal);
  return true;
}

// --- Delayed tasks ---

bool BaseThread::RunDueDelayedTasks() {
  if (!DrainPriorityQueue()) {
    return false;
  }
  Step(LoopStep::kDrainedBeforeWalk);
  bool goes_on = true;
  std::list<DelayTask> done;
  {
    RecursiveMutexLock lock(delayed_mutex);
    Step(LoopStep::kDelayedMutexHeld);
    goes_on = WalkDueTasksLocked(done);
    MirrorEarliestDueLocked();
  }
  // Free the closures without the mutex, since they may own objects with any destructor.
  done.clear();
  Step(LoopStep::kWalked);
  return goes_on;
}

bool BaseThread::WalkDueTasksLocked(std::list<DelayTask>& done) {
  auto entry = delayed_tasks.begin();
  while (entry != delayed_tasks.end() && done.size() < kMostTasksPerWalk) {
    if (entry->first > NowMs()) {
      // The clock goes on: a later entry may be due by the time the walk reaches it.
      ++entry;
      continue;
    }
    if (!RunDueEntryLocked(entry->second, done)) {
      return false;
    }
    if (entry->second.tasks.empty()) {
      entry = delayed_tasks.erase(entry);
    }
    if (stop_requested != 0) {
      return false;
    }
  }
  return true;
}

// Runs the tasks of a due entry and moves them to `done`. A task may append to the entry's list.
bool BaseThread::RunDueEntryLocked(DueTasks& entry, std::list<DelayTask>& done) {
  auto due = entry.tasks.begin();
  for (size_t runs = done.size(); due != entry.tasks.end() && runs < kMostTasksPerWalk; ++runs) {
    if (stop_requested != 0) {
      return false;
    }
    --due->times;
    RunTask([&] {
      if (due->times > 0 && due->repost) {
        due->repost(due->delay_ms, due->task, due->times);
      }
      due->task();
    });
    Step(LoopStep::kTaskRan);
    ++due;
  }
  done.splice(done.end(), entry.tasks, entry.tasks.begin(), due);
  return true;
}

}  // namespace zo_base
