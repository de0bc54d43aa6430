#include "base/platform/thread.h"

#include <atomic>
#include <system_error>
#include <utility>

#include "base/platform/system_thread.h"
#include "base/platform/thread_for_test.h"

namespace zo_base {
namespace {

thread_local bool is_library_thread = false;
std::atomic<int> live_threads{0};
std::atomic<int> starts_to_failure{0};

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
  std::thread thread = StartSystemThread([body = std::move(body)]() mutable {
    is_library_thread = true;
    body();
    // Destroy what the body holds while the thread still counts as alive.
    body = nullptr;
    --live_threads;
  });
  count.LeaveToThread();
  return thread;
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
