#include "lab/answer_queue.h"

#include <algorithm>
#include <climits>

namespace lab {

AnswerQueue::AnswerQueue(int answers_per_s, int limit)
    : each_(answers_per_s > 0 ? Clock::duration(std::chrono::seconds(1)) / answers_per_s
                              : Clock::duration::zero()),
      limit_(each_ * limit) {}

std::optional<int> AnswerQueue::Add(Clock::time_point now) {
  const Clock::time_point starts = std::max(free_, now);
  if (limit_ > Clock::duration::zero() && starts - now >= limit_) {
    return std::nullopt;
  }
  free_ = starts + each_;
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(free_ - now);
  return static_cast<int>(std::min<int64_t>(wait.count(), INT_MAX));
}

}  // namespace lab
