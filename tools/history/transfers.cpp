#include "tools/history/transfers.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "network/transfer_failure.h"

namespace history {

namespace {

// Times of two threads that are this close don't say which came first.
constexpr int64_t kNearMs = 100;
constexpr size_t kMostNear = 64;  // failures of a URL that are compared
constexpr int64_t kLongestMs = 86'400'000;

}  // namespace

void Transfers::Take(const Line& line) {
  constexpr std::string_view kFailed = " failed: ";
  std::string_view rest = line.text;
  if (!Skip(rest, "[transfer] ")) {
    return;
  }
  const size_t url_end = rest.rfind(kFailed);
  if (url_end == std::string_view::npos) {
    return;
  }
  Failure failure;
  const std::string_view url = rest.substr(0, url_end);
  rest.remove_prefix(url_end + kFailed.size());
  failure.cause = rest.substr(0, rest.find(' '));
  failure.end_ms = line.at_ms;
  failure.message = line.message;
  const int64_t lasted_ms =
      std::clamp<int64_t>(NumberAfter(rest, " after ").value_or(0), 0, kLongestMs);
  failures_[{line.run, NumberOfShown(std::string(url))}].emplace(line.at_ms - lasted_ms, failure);
}

size_t Transfers::NumberOf(std::string_view url) {
  return NumberOfShown(KRBASE::network::ShownUrl(std::string(url)));
}

std::optional<Transfers::Failure> Transfers::TakeFailureOf(const Try& one, size_t run,
                                                           bool must_follow) {
  const auto found = failures_.find({run, NumberOf(one.url)});
  if (found == failures_.end()) {
    return std::nullopt;
  }
  // Choose the one that began nearest to the try. Earlier ones are of tries that nobody waited for.
  auto& list = found->second;
  auto nearest = list.lower_bound(one.begin_ms);
  if (nearest != list.begin()) {
    const int64_t before_ms = std::prev(nearest)->first;
    if (nearest == list.end() || one.begin_ms - before_ms <= nearest->first - one.begin_ms) {
      nearest = list.lower_bound(before_ms);
    }
  }
  if (must_follow && nearest->first < one.begin_ms - kNearMs) {
    return std::nullopt;
  }
  // Look whether another one is about as near.
  Failure failure = nearest->second;
  const int64_t reach_ms = std::abs(nearest->first - one.begin_ms) + kNearMs;
  size_t near = 0;
  for (auto other = list.upper_bound(one.begin_ms - reach_ms);
       other != list.end() && other->first < one.begin_ms + reach_ms && !failure.is_unsure;
       ++other) {
    failure.is_unsure = other->second.cause != failure.cause || ++near > kMostNear;
  }
  list.erase(nearest);
  if (list.empty()) {
    failures_.erase(found);
  }
  return failure;
}

}  // namespace history
