#include "network/threadpool.h"

#include <algorithm>

#include "base/platform/thread.h"

namespace KRBASE::network {

threadpool::threadpool(uint16_t size) {
  const uint16_t count = std::min(size, kMaxThreads);
  pool.reserve(count);
  try {
    for (uint16_t i = 0; i < count; ++i) {
      ++idle;
      pool.push_back(zo_base::StartThread([this] { Work(); }));
    }
  } catch (...) {
    StopAndJoin();
    throw;
  }
}

threadpool::~threadpool() {
  StopAndJoin();
}

void threadpool::RequestStop() {
  zo_base::MutexLock lock(mutex);
  run = false;
  task_cv.notify_all();
}

void threadpool::StopAndJoin() {
  RequestStop();
  for (std::thread& worker : pool) {
    worker.join();
  }
  pool.clear();
}

void threadpool::Work() {
  zo_base::SetCurrentThreadName("http worker");
  while (run) {
    std::function<void()> task;
    {
      zo_base::MutexLock lock(mutex);
      while (run && tasks.empty()) {
        task_cv.wait(mutex);
      }
      if (!run) {
        return;
      }
      task = std::move(tasks.front());
      tasks.pop_front();
    }
    --idle;
    task();
    ++idle;
  }
}

}  // namespace KRBASE::network
