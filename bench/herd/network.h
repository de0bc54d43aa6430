#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "bench/herd/client.h"

namespace herd {

struct NetworkPlan {
  double median_ms = 60;  // of a round trip
  double sigma = 0.5;     // of its logarithm
  double loss = 0;        // share of packets that are lost
};

// Round trips between clients and servers: log-normal, and longer by a repeat of each lost packet.
// Threads: one at a time.
class Network {
 public:
  Network(const NetworkPlan& plan, uint64_t seed);

  // Returns the time in ms of a round trip, at least 1.
  Ms RoundTrip();
  // Returns a number from 0 to 2^32 - 1.
  uint32_t Random() { return static_cast<uint32_t>(random_() >> 32); }

 private:
  std::mt19937_64 random_;
  std::vector<Ms> quantiles_;  // of a round trip without a loss
  uint32_t loss_limit_;        // a random number below it is a loss
};

}  // namespace herd
