#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/sync/condition.h"
#include "base/sync/mutex.h"

namespace KRBASE::network {

// A fixed number of workers on one queue; tasks start in the order in which they came.
// Threads: commit from any. The destructor runs on a thread that isn't a worker.
// Owner:   the transport.
// Errors:  what a task throws goes into its future. A constructor that can't have all its threads
//          ends those it has and throws the system's error.
class threadpool {
 public:
  static constexpr uint16_t kMaxThreads = 16;

  // Starts so many workers, at most kMaxThreads; 0 starts none, and tasks then wait for ever.
  explicit threadpool(uint16_t size);
  // Waits for the tasks in progress. Those still queued are dropped, and their futures broken.
  ~threadpool();
  threadpool(const threadpool&) = delete;
  threadpool& operator=(const threadpool&) = delete;

  // The future may be let go: nothing waits for it.
  template <class Function, class... Args>
  auto commit(Function&& function, Args&&... args)
      -> std::future<std::invoke_result_t<std::decay_t<Function>, std::decay_t<Args>...>> {
    using Result = std::invoke_result_t<std::decay_t<Function>, std::decay_t<Args>...>;
    if (!run) {
      throw std::runtime_error("commit on ThreadPool is stopped.");
    }
    auto task = std::make_shared<std::packaged_task<Result()>>(
        std::bind(std::forward<Function>(function), std::forward<Args>(args)...));
    std::future<Result> result = task->get_future();
    {
      zo_base::MutexLock lock(mutex);
      tasks.emplace_back([task] { (*task)(); });
    }
    task_cv.notify_one();
    return result;
  }

  [[nodiscard]] size_t size() const { return pool.size(); }
  // How many workers have no task.
  [[nodiscard]] int32_t idle_count() const { return idle; }

 private:
  void Work();
  void StopAndJoin();

  std::vector<std::thread> pool;  // touched by the constructor and the destructor alone
  std::deque<std::function<void()>> tasks ZO_GUARDED_BY(mutex);
  zo_base::Mutex mutex;
  zo_base::Condition task_cv;
  std::atomic<bool> run{true};  // changes with the mutex held, so that no worker misses it
  std::atomic<int32_t> idle{0};
};

}  // namespace KRBASE::network
