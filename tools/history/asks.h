#pragma once

#include <deque>
#include <map>
#include <optional>

#include "tools/history/line.h"

namespace history {

// Reads who asked for an LBS fetch and why, and which asks have begun.
class Asks {
 public:
  explicit Asks(History& history) : history_(history) {}

  void Take(const Line& line);

  // Returns the ask of the LBS request that is being sent in a run: the oldest that has begun and
  // wasn't returned yet. The service's thread posts them in this order. Nothing if the log lacks
  // it.
  std::optional<size_t> TakeBegun(size_t run);
  // Returns the newest ask that wasn't dropped. Answers to older ones are ignored.
  std::optional<size_t> Newest(size_t run) const;

 private:
  struct OfRun {
    std::optional<size_t> newest;
    std::deque<size_t> accepted;  // not begun
    std::deque<size_t> begun;     // not sent
  };
  struct OfThread {
    AskedBecause hint = AskedBecause::kOther;  // from the lines of an older log
    bool is_named = false;                     // the last line was the ask's own
    std::optional<size_t> ask;                 // its fate follows
    std::optional<size_t> begins;              // the ask that the last line names
  };

  void TakeAsk(const Line& line, OfThread& thread);
  void TakeFate(const Line& line, OfThread& thread);
  void TakeBegin(const Line& line, OfThread& thread);

  History& history_;
  std::map<size_t, OfRun> runs_;
  std::map<ThreadKey, OfThread> threads_;
};

}  // namespace history
