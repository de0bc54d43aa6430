#include "tools/history/so_far.h"

#include <algorithm>
#include <utility>

namespace history {

SoFarWalk::SoFarWalk(const History& history) : history_(history) {
  Add(What::kHold, history.holds);
  Add(What::kChange, history.changes);
  Add(What::kAsk, history.asks);
  Add(What::kDocument, history.documents);
  Add(What::kAnswer, history.answers);
  for (size_t i = 0; i < history.fetches.size(); ++i) {
    if (history.fetches[i].kind == Kind::kLbs) {
      events_.push_back({history.fetches[i].messages.front(), What::kFetch, i});
    }
  }
  std::sort(events_.begin(), events_.end(), [](const Event& left, const Event& right) {
    return std::pair(left.message, left.what) < std::pair(right.message, right.what);
  });
}

template <class Item>
void SoFarWalk::Add(What what, const std::vector<Item>& items) {
  for (size_t i = 0; i < items.size(); ++i) {
    events_.push_back({items[i].message, what, i});
  }
}

const SoFar& SoFarWalk::Next() {
  // Take the last answer only now: it isn't part of what was before it.
  if (next_ > 0) {
    TakeAnswer(events_[next_ - 1].place);
  }
  while (events_[next_].what != What::kAnswer) {
    Take(events_[next_++]);
  }
  return runs_[history_.answers[events_[next_++].place].run];
}

void SoFarWalk::Take(const Event& event) {
  switch (event.what) {
    case What::kHold: {
      const Hold& hold = history_.holds[event.place];
      SoFar& run = runs_[hold.run];
      run.got.clear();
      run.got_count = 0;
      run.hold = &hold;
      run.is_after_default = false;
      break;
    }
    case What::kChange: {
      const Change& change = history_.changes[event.place];
      if (change.what == Change::What::kToken) {
        runs_[change.run].has_token = change.value != "none";
      }
      break;
    }
    case What::kAsk: {
      const Ask& ask = history_.asks[event.place];
      if (ask.fate == Ask::Fate::kNoUrl || (ask.fate == Ask::Fate::kFetched && !ask.fetch)) {
        runs_[ask.run].wish = &ask;
      }
      break;
    }
    case What::kFetch:
      TakeFetch(event.place);
      break;
    case What::kDocument: {
      SoFar fresh;
      SoFar& run = runs_[history_.documents[event.place].run];
      fresh.fetches.swap(run.fetches);
      fresh.has_token = run.has_token;
      run = std::move(fresh);
      break;
    }
    case What::kAnswer:
      break;
  }
}

void SoFarWalk::TakeFetch(size_t place) {
  SoFar& run = runs_[history_.fetches[place].run];
  if (run.newest && history_.fetches[*run.newest].outcome == FetchOutcome::kFailed) {
    ++run.failed;
  }
  run.newest = place;
  run.wish = nullptr;
  run.fetches.push_back(place);
}

void SoFarWalk::TakeAnswer(size_t place) {
  const Answer& answer = history_.answers[place];
  SoFar& run = runs_[answer.run];
  run.fetches.clear();
  if (answer.is_default) {
    run.got.clear();
    run.got_count = 0;
    run.hold = nullptr;
    run.is_after_default = true;
    return;
  }
  if (run.got.size() < SoFar::kMostKept) {
    run.got.push_back(place);
  }
  ++run.got_count;
  run.got_last = place;
}

}  // namespace history
