#pragma once

#include <cstdint>

namespace zo_base {

inline constexpr int64_t kMsPerSecond = 1000;

// Notified when a test sets the clock, so that a waiting loop computes its wait again.
class ClockListener {
 public:
  // Runs on the thread that sets the clock, with the list of listeners locked: it must not add or
  // remove one, and takes only leaf locks.
  virtual void OnClockSet() = 0;

 protected:
  ~ClockListener() = default;
};

// The clock of the library: nothing else reads the time.
// Threads: any; reading takes no lock.
// Owner:   the process.
// Errors:  none.
struct Clock {
  // Milliseconds since the Unix epoch. Can jump when the user sets the system's clock.
  static int64_t WallMs();
  // Milliseconds from an arbitrary start; never goes back. Waits are computed from it.
  static int64_t MonotonicMs();
  // As MonotonicMs, but runs on while a test holds the clock: for waits that are about the system's
  // threads, such as those of the end of a process.
  static int64_t UnheldMonotonicMs();

  static void AddListener(ClockListener* listener);
  // Returns once no call into `listener` is running. Ignores a listener that was never added.
  static void RemoveListener(ClockListener* listener);
};

}  // namespace zo_base
