#include "base/thread/timer.h"

#include <algorithm>
#include <limits>

#include "base/thread/post_task.h"
#include "base/thread/thread_info.h"

namespace zo_base {

Timer::Timer(const std::weak_ptr<ITaskLoop>& loop) : task_loop(loop) {}

Timer::~Timer() {
  Cancel();
}

void Timer::Start(uint32_t delay_ms, const std::function<void()>& callback, uint32_t times) {
  if (const auto loop = Rearm()) {
    Post(*loop, delay_ms, weak_flag.ToWeakClosure(callback), times);
  }
}

void Timer::StartPosted(uint32_t delay_ms, const std::function<void()>& callback, uint32_t times) {
  const auto loop = Rearm();
  if (!loop) {
    return;
  }
  std::function<void()> work = weak_flag.ToWeakClosure(callback);
  auto post_work = [loop = std::weak_ptr<ITaskLoop>(loop), work = std::move(work)] {
    PostTo(loop.lock(), work);
  };
  Post(*loop, delay_ms, weak_flag.ToWeakClosure(std::move(post_work)), times);
}

void Timer::Cancel() {
  weak_flag.Cancel();
}

bool Timer::HasUsedFlag() const {
  return weak_flag.HasUsedFlag();
}

std::shared_ptr<ITaskLoop> Timer::Rearm() {
  Cancel();
  auto loop = task_loop.lock();
  if (!loop) {
    if (const ThreadInfo* info = CurrentThreadInfo()) {
      loop = info->task_loop;
    }
  }
  return loop;
}

void Timer::Post(ITaskLoop& loop, uint32_t delay_ms, const std::function<void()>& closure,
                 uint32_t times) {
  constexpr uint32_t kLongestMs = std::numeric_limits<int>::max();
  const int delay = static_cast<int>(std::min(delay_ms, kLongestMs));
  if (times == 0) {
    loop.PostDelayedTask(delay, closure);
  } else {
    loop.PostRepeatedTask(delay, closure, static_cast<int>(times));
  }
}

}  // namespace zo_base
