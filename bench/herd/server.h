#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/herd/client.h"

namespace herd {

// What a server does with a request, or with a connection attempt.
enum class Outcome : uint8_t { kGood, kBad, kRefused, kSilent };

// A server as a scenario describes it.
struct ServerPlan {
  enum class State : uint8_t { kServes, kRefuses, kIsSilent };

  std::string name;
  double answers_per_s = 0;  // 0: without limit
  int workers = 1;           // share that rate, so an answer takes workers / answers_per_s
  int delay_ms = 0;          // added to each answer, without work
  int queue = 0;             // requests that may wait; 0: without limit
  int deadline_ms = 0;       // drops what has waited longer, without work; 0: never
  Outcome when_full = Outcome::kBad;
  std::vector<std::pair<Ms, State>> states;  // from these times on, in order; serves before
};

// A server with a queue in the order of arrival.
// Threads: one at a time.
class Server {
 public:
  struct Answer {
    Outcome outcome;
    double leaves_ms;  // kGood and kBad: when the answer leaves
  };

  explicit Server(ServerPlan plan) : plan_(std::move(plan)) {}

  const ServerPlan& plan() const { return plan_; }
  ServerPlan::State StateAt(Ms at) const;
  // Takes what arrives at this time, which isn't before that of the last call.
  Answer Arrive(Ms at);

 private:
  ServerPlan plan_;
  double free_ms_ = 0;  // when all that waits has been answered
  Ms last_begin_ = 0;   // of the state in which it served last
};

}  // namespace herd
