#include "base/thread/base_thread.h"

#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "base/platform/thread.h"
#include "base/thread/thread_task_loop.h"

namespace zo_base {

// The thread as its owner uses it; its loop is in base_thread_loop.cpp.

BaseThread::BaseThread(const std::string& thread_name)
    : earliest_due_ms(UINT64_MAX),
      name(thread_name),
      task_loop(std::make_shared<ThreadTaskLoop>()) {}

BaseThread::~BaseThread() {
  if (!thread) {
    return;
  }
  BaseThread::RequestStop();
  try {
    BaseThread::DoJoin();
  } catch (const std::system_error&) {
    // The last reference was released on the thread itself, which would use a destroyed object.
    std::terminate();
  }
  running.exchange(0);
}

bool BaseThread::IsRunning() {
  return running != 0;
}

void BaseThread::Start() {
  const auto self = SharedFromThis<BaseThread>();
  begun = kNotBegun;
  {
    MutexLock lock(start_mutex);
    auto starting = std::make_unique<std::thread>();  // nothing may throw once the thread runs
    *starting = StartThread([this] {
      // Wait until `thread` is stored: the first tasks may join.
      start_mutex.lock();
      start_mutex.unlock();
      MainOrEndFirst();
    });
    thread = std::move(starting);
  }
  while (begun == kNotBegun) {
    std::this_thread::yield();
  }
  if (begun == kEndedFirst) {
    thread->join();
    thread.reset();
    throw std::bad_alloc();
  }
}

// Leaves the thread as new if there is no memory for its begin. Start reports that.
void BaseThread::MainOrEndFirst() {
  try {
    ThreadMain();
  } catch (const std::bad_alloc&) {
    ClearThreadInfo();
    running.exchange(0);
    first_pass.exchange(1);
    uint8_t not_begun = kNotBegun;
    begun.compare_exchange_strong(not_begun, kEndedFirst);
  }
}

void BaseThread::Stop() {
  RequestStop();
  Join();
  running.exchange(0);
}

void BaseThread::Join() {
  DoJoin();
}

void BaseThread::Run() {
  ThreadMain();
}

std::shared_ptr<ITaskLoop> BaseThread::GetTaskLoop() {
  return task_loop;
}

bool BaseThread::IsCurrentThread() {
  const ThreadInfo* info = CurrentThreadInfo();
  return (info != nullptr ? info->thread_id : 0) == thread_id;
}

void BaseThread::SetThreadInfo(const ThreadInfo& info) {
  SetCurrentThreadInfo(info);
}

void BaseThread::ClearThreadInfo() {
  ClearCurrentThreadInfo();
}

void BaseThread::RequestStop() {
  stop_requested.exchange(1);
  Notify();
}

void BaseThread::DoJoin() {
  if (!thread || !thread->joinable()) {
    return;
  }
  if (thread->get_id() == std::this_thread::get_id()) {
    throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
  }
  thread->join();
}

void BaseThread::ThreadMain() {
  task_loop->AttachDelegate(SharedFromThis<BaseThread>());
  thread_id = CurrentThreadId();
  SetThreadInfo(ThreadInfo{name, GetTaskLoop(), thread_id});
  SetCurrentThreadName(name);
  RunLoop();
  running.exchange(0);
  Emit(IThread::SIG_ThreadEnd);
  Emit(IThread::SIG_InternalEnd);
}

}  // namespace zo_base
