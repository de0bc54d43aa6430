#pragma once

#include <atomic>
#include <condition_variable>
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

#include "base/sync/mutex.h"

namespace KRBASE::network {

// A fixed number of workers on one queue. Tasks start in the order of their commits.
// Threads: commit from any. Destroy it on a thread that isn't a worker.
// Owner:   the transport.
// Errors:  an exception of a task goes into its future. A constructor that can't start all threads
//          ends those it has started and throws the system's error.
class threadpool {
 public:
  static constexpr uint16_t kMaxThreads = 16;

  // Starts `size` workers, at most kMaxThreads. A pool of size 0 never runs a task.
  explicit threadpool(uint16_t size);
  // Waits for the tasks in progress. Drops the queued ones, which breaks their futures.
  ~threadpool();
  threadpool(const threadpool&) = delete;
  threadpool& operator=(const threadpool&) = delete;

  // Begins no further task. The queued ones are dropped by the destructor.
  void RequestStop();

  // Queues a call of the function. The caller may drop the future: its destructor doesn't block.
  // Throws std::runtime_error while the pool ends.
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

 private:
  void Work();
  void StopAndJoin();

  std::vector<std::thread> pool;  // only the constructor and the destructor use it
  std::deque<std::function<void()>> tasks ZO_GUARDED_BY(mutex);
  zo_base::Mutex mutex;
  std::condition_variable_any task_cv;
  std::atomic<bool> run{true};   // changed with the mutex held, so that no worker misses it
  std::atomic<int32_t> idle{0};  // workers without a task; not read
};

}  // namespace KRBASE::network
