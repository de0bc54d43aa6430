#include "base/thread/clock.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <vector>

#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"
#include "base/thread/clock_for_test.h"

namespace zo_base {
namespace {

std::atomic<bool> frozen{false};
std::atomic<int64_t> frozen_wall_ms{0};
std::atomic<int64_t> frozen_monotonic_ms{0};

template <class SystemClock>
int64_t TrueMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             SystemClock::now().time_since_epoch())
      .count();
}

struct Listeners {
  Mutex mutex;
  std::vector<ClockListener*> list ZO_GUARDED_BY(mutex);
};

Listeners& AllListeners() {
  static NoDestructor<Listeners> listeners;
  return *listeners;
}

void TellListeners() {
  Listeners& listeners = AllListeners();
  MutexLock lock(listeners.mutex);
  for (ClockListener* listener : listeners.list) {
    listener->OnClockSet();
  }
}

}  // namespace

int64_t Clock::WallMs() {
  return frozen.load() ? frozen_wall_ms.load() : TrueMs<std::chrono::system_clock>();
}

int64_t Clock::MonotonicMs() {
  return frozen.load() ? frozen_monotonic_ms.load() : UnheldMonotonicMs();
}

int64_t Clock::UnheldMonotonicMs() {
  return TrueMs<std::chrono::steady_clock>();
}

void Clock::AddListener(ClockListener* listener) {
  Listeners& listeners = AllListeners();
  MutexLock lock(listeners.mutex);
  listeners.list.push_back(listener);
}

void Clock::RemoveListener(ClockListener* listener) {
  Listeners& listeners = AllListeners();
  MutexLock lock(listeners.mutex);
  std::vector<ClockListener*>& list = listeners.list;
  list.erase(std::remove(list.begin(), list.end(), listener), list.end());
  if (list.empty()) {
    // Free the memory too, so that an idle library can be unloaded without a leak.
    std::vector<ClockListener*>().swap(list);
  }
}

ScopedTestClock::ScopedTestClock() {
  frozen_wall_ms = Clock::WallMs();
  frozen_monotonic_ms = Clock::MonotonicMs();
  frozen = true;
}

ScopedTestClock::~ScopedTestClock() {
  frozen = false;
  TellListeners();
}

void ScopedTestClock::Advance(int64_t ms) {
  frozen_wall_ms += ms;
  frozen_monotonic_ms += ms;
  TellListeners();
}

void ScopedTestClock::SetWall(int64_t ms) {
  frozen_wall_ms = ms;
  TellListeners();
}

}  // namespace zo_base
