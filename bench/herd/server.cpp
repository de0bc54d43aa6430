#include "bench/herd/server.h"

#include <algorithm>
#include <iterator>

namespace herd {

namespace {

using States = std::vector<std::pair<Ms, ServerPlan::State>>;

// Returns the first state that begins after this time.
States::const_iterator NextState(const States& states, double at_ms) {
  return std::upper_bound(states.begin(), states.end(), at_ms,
                          [](double at, const auto& state) { return at < state.first; });
}

}  // namespace

ServerPlan::State Server::StateAt(Ms at) const {
  const auto next = NextState(plan_.states, at);
  return next == plan_.states.begin() ? ServerPlan::State::kServes : std::prev(next)->second;
}

Server::Answer Server::Arrive(Ms at) {
  switch (StateAt(at)) {
    case ServerPlan::State::kRefuses:
      return {Outcome::kRefused, 0};
    case ServerPlan::State::kIsSilent:
      return {Outcome::kSilent, 0};
    case ServerPlan::State::kServes:
      break;
  }
  // A server that has been down begins with an empty queue.
  const auto next = NextState(plan_.states, at);
  const Ms begin = next == plan_.states.begin() ? 0 : std::prev(next)->first;
  if (begin > last_begin_) {
    last_begin_ = begin;
    free_ms_ = begin;
  }
  // Queue it.
  const double ms_each = plan_.answers_per_s > 0 ? kMsPerSecond / plan_.answers_per_s : 0;
  const double starts = std::max(free_ms_, static_cast<double>(at));
  if (plan_.queue > 0 && starts - at >= plan_.queue * ms_each) {
    return {plan_.when_full, static_cast<double>(at)};
  }
  if (plan_.deadline_ms > 0 && starts - at > plan_.deadline_ms) {
    return {Outcome::kBad, starts};
  }
  free_ms_ = starts + ms_each;
  const double leaves = starts + ms_each * plan_.workers + plan_.delay_ms;
  // What still waits when the server goes down is lost with its connection.
  const bool is_lost = next != plan_.states.end() && leaves >= next->first;
  return is_lost ? Answer{Outcome::kBad, static_cast<double>(next->first)}
                 : Answer{Outcome::kGood, leaves};
}

}  // namespace herd
