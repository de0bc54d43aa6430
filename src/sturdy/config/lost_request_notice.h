#pragma once

#include <functional>
#include <utility>

namespace zo_sturdy {

// Part of a request's callback. Calls `on_lost` when the last copy of the callback is destroyed and
// none has run: the request is lost then, and nothing else would report it.
// Threads: the one that destroys the last copy calls `on_lost`.
// Owner:   the copies of the callback, by a shared pointer.
// Errors:  drops an exception of `on_lost`.
class LostRequestNotice {
 public:
  explicit LostRequestNotice(std::function<void()> on_lost) : on_lost_(std::move(on_lost)) {}
  ~LostRequestNotice() {
    if (answered_) {
      return;
    }
    try {
      on_lost_();
    } catch (...) {
      return;  // no memory for what follows, such as the timer of the next turn
    }
  }
  LostRequestNotice(const LostRequestNotice&) = delete;
  LostRequestNotice& operator=(const LostRequestNotice&) = delete;

  void Answered() { answered_ = true; }

 private:
  const std::function<void()> on_lost_;
  bool answered_ = false;
};

}  // namespace zo_sturdy
