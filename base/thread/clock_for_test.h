#pragma once

#include <cstdint>

namespace zo_base {

// Freezes both readings of the clock at the true time, while it exists. Advance, SetWall and the
// destructor wake every waiting loop; the constructor doesn't. After its destruction the clock
// reads the true time again, so the monotonic reading can step back: destroy it after the loops
// whose timers it moved.
// Threads: any may set it.
// Owner:   a test's scope, one at a time in a process.
// Errors:  none.
class ScopedTestClock {
 public:
  ScopedTestClock();
  ~ScopedTestClock();
  ScopedTestClock(const ScopedTestClock&) = delete;
  ScopedTestClock& operator=(const ScopedTestClock&) = delete;

  // Advances the wall and the monotonic reading.
  void Advance(int64_t ms);
  // Sets only the wall reading, like a user who corrects the clock.
  void SetWall(int64_t ms);
};

}  // namespace zo_base
