#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "tools/history/history.h"

namespace history {

// What had happened in a run before one of its answers.
struct SoFar {
  static constexpr size_t kMostKept = 5;

  // The answers from the list since its rotation began: with the document, a hold or a default.
  std::vector<size_t> got;  // the first ones
  size_t got_count = 0;
  size_t got_last = 0;
  const Hold* hold = nullptr;  // the rotation began with it
  bool is_after_default = false;

  std::vector<size_t> fetches;    // those of lists since the last answer
  std::optional<size_t> newest;   // the newest fetch of a list since the document
  size_t failed = 0;              // the failed ones before it, since the document
  const Ask* wish = nullptr;      // a later ask than `newest` that hasn't become a fetch
  std::optional<bool> has_token;  // since the last change; none: the run's settings say it
};

// Follows each run from answer to answer, in one walk over the history.
// Threads: one.
// Owner:   the caller keeps the History alive.
class SoFarWalk {
 public:
  explicit SoFarWalk(const History& history);

  // Returns what had happened before the next answer. Call at most once for each answer. The value
  // holds until the next call.
  const SoFar& Next();

 private:
  enum class What { kHold, kChange, kAsk, kFetch, kDocument, kAnswer };
  struct Event {
    size_t message = 0;  // the order of the messages counts: a fetch can take less than a ms
    What what = What::kHold;
    size_t place = 0;
  };

  template <class Item>
  void Add(What what, const std::vector<Item>& items);
  void Take(const Event& event);
  void TakeFetch(size_t place);
  void TakeAnswer(size_t place);

  const History& history_;
  std::vector<Event> events_;
  size_t next_ = 0;
  std::map<size_t, SoFar> runs_;
};

}  // namespace history
