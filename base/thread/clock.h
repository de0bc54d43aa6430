#pragma once

#include <cstdint>

namespace zo_base {

inline constexpr int64_t kMsPerSecond = 1000;

// Told when a test sets the clock, so that a waiting loop can reckon its wait anew.
class ClockListener {
 public:
  // Runs on the thread that sets the clock, with the list of listeners locked: it may neither
  // add nor remove one, and takes leaf locks only.
  virtual void OnClockSet() = 0;

 protected:
  ~ClockListener() = default;
};

// The one clock of the library: nothing else reads the time.
// Threads: any; a reading takes no lock.
// Owner:   the process.
// Errors:  none.
struct Clock {
  // Milliseconds since the Unix epoch. Can jump when the user sets the system's clock.
  static int64_t WallMs();
  // Milliseconds from an arbitrary start that never go back; what waits are reckoned by.
  static int64_t MonotonicMs();

  static void AddListener(ClockListener* listener);
  // Returns once no call into `listener` is running. A listener that was never added is ignored.
  static void RemoveListener(ClockListener* listener);
};

}  // namespace zo_base
