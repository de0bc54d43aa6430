#include "base/platform/thread.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <system_error>
#include <utility>

#include "base/platform/thread_for_test.h"

namespace zo_base {
namespace {

thread_local bool is_library_thread = false;
std::atomic<int> live_threads{0};
std::atomic<int> starts_to_failure{0};

// Linux keeps 16 bytes with the final zero.
constexpr size_t kThreadNameLimit = 15;

// Counts a thread before it exists, so that it never runs uncounted.
class LiveCount {
 public:
  LiveCount() { ++live_threads; }
  ~LiveCount() {
    if (counts_) {
      --live_threads;
    }
  }
  LiveCount(const LiveCount&) = delete;
  LiveCount& operator=(const LiveCount&) = delete;

  void LeaveToThread() { counts_ = false; }

 private:
  bool counts_ = true;
};

// Blocks signals while a thread is created. The thread inherits the mask, so it never accepts a
// signal that it shouldn't.
class ScopedSignalBlock {
 public:
  ScopedSignalBlock() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (int synchronous : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
      sigdelset(&blocked, synchronous);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &previous_);
  }
  ~ScopedSignalBlock() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
  ScopedSignalBlock(const ScopedSignalBlock&) = delete;
  ScopedSignalBlock& operator=(const ScopedSignalBlock&) = delete;

 private:
  sigset_t previous_{};
};

bool StartFailsForTest() {
  int left = starts_to_failure.load();
  while (left > 0 && !starts_to_failure.compare_exchange_weak(left, left - 1)) {
  }
  return left == 1;
}

}  // namespace

std::thread StartThread(std::function<void()> body) {
  if (StartFailsForTest()) {
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
  }
  LiveCount count;
  ScopedSignalBlock block;
  std::thread thread([body = std::move(body)]() mutable {
    is_library_thread = true;
    body();
    // Destroy what the body holds while the thread still counts as alive.
    body = nullptr;
    --live_threads;
  });
  count.LeaveToThread();
  return thread;
}

void SetCurrentThreadName(const std::string& name) {
  pthread_setname_np(pthread_self(), name.substr(0, kThreadNameLimit).c_str());
}

uint32_t CurrentThreadId() {
  return static_cast<uint32_t>(::gettid());
}

uint32_t CurrentProcessId() {
  return static_cast<uint32_t>(::getpid());
}

bool IsLibraryThread() {
  return is_library_thread;
}

int LiveLibraryThreads() {
  return live_threads;
}

void FailThreadStartForTest(int n) {
  starts_to_failure = n;
}

}  // namespace zo_base
