#include "bench/herd/network.h"

#include <algorithm>
#include <cmath>

namespace herd {

namespace {

constexpr size_t kQuantiles = 4096;
constexpr Ms kRepeatMs = 1000;  // after which a system sends the first packet of a connection again
constexpr double kRandomRange = 4294967296.0;

}  // namespace

// Draws the round trips in advance: drawing one for each packet would take most of a run's time.
Network::Network(const NetworkPlan& plan, uint64_t seed)
    : random_(seed), loss_limit_(static_cast<uint32_t>(std::min(plan.loss, 0.99) * kRandomRange)) {
  std::mt19937_64 draw(kQuantiles);
  std::lognormal_distribution<double> round_trip(std::log(plan.median_ms), plan.sigma);
  for (size_t i = 0; i < kQuantiles; ++i) {
    quantiles_.push_back(std::max(1, static_cast<Ms>(std::lround(round_trip(draw)))));
  }
}

Ms Network::RoundTrip() {
  const uint32_t random = Random();
  Ms ms = quantiles_[random % kQuantiles];
  while (loss_limit_ > 0 && Random() < loss_limit_) {
    ms += kRepeatMs;
  }
  return ms;
}

}  // namespace herd
