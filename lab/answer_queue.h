#pragma once

#include <chrono>
#include <optional>

namespace lab {

// The requests that wait at a server with a rate. It works on one after the other, in the order of
// arrival, also on those whose client has gone.
// Threads: one at a time.
class AnswerQueue {
 public:
  using Clock = std::chrono::steady_clock;

  // `answers_per_s` 0: answers at once. `limit` of the requests that wait; 0: without limit.
  AnswerQueue(int answers_per_s, int limit);

  // Takes a request that arrives at this time, which isn't before that of the last call. Returns
  // the time in ms until its answer, nothing if the queue is full.
  std::optional<int> Add(Clock::time_point now);

 private:
  const Clock::duration each_;   // the work on one answer
  const Clock::duration limit_;  // of the work that waits; 0: without limit
  Clock::time_point free_;       // when all that waits has been answered
};

}  // namespace lab
