#pragma once

#include <cstdint>

namespace zo_base {

// Freezes both readings of the clock while it exists; one at a time in a process.
// Each change wakes every waiting loop. After its destruction the clock reads the true time again,
// so the monotonic reading can step back: destroy it after the loops whose timers it moved.
// Threads: any thread may set it.
class ScopedTestClock {
 public:
  ScopedTestClock();
  ~ScopedTestClock();
  ScopedTestClock(const ScopedTestClock&) = delete;
  ScopedTestClock& operator=(const ScopedTestClock&) = delete;

  // Advances the wall and the monotonic reading.
  void Advance(int64_t ms);
  // Sets only the wall reading, as a user does who corrects the clock.
  void SetWall(int64_t ms);
};

}  // namespace zo_base
