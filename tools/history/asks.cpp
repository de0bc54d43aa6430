#include "tools/history/asks.h"

#include <algorithm>

namespace history {

namespace {

// A log that lost lines has asks that never begin.
constexpr size_t kMostAccepted = 256;

AskedBecause ReasonOf(std::string_view word) {
  for (const AskedBecause reason :
       {AskedBecause::kStart, AskedBecause::kUpdate, AskedBecause::kToken, AskedBecause::kNetwork,
        AskedBecause::kThirdDefault, AskedBecause::kDefaultTimer}) {
    if (word.substr(0, word.find(' ')) == TextOf(reason)) {
      return reason;
    }
  }
  return AskedBecause::kOther;
}

}  // namespace

std::optional<size_t> Asks::TakeBegun(size_t run) {
  std::deque<size_t>& begun = runs_[run].begun;
  if (begun.empty()) {
    return std::nullopt;
  }
  const size_t ask = begun.front();
  begun.pop_front();
  return ask;
}

std::optional<size_t> Asks::Newest(size_t run) const {
  const auto found = runs_.find(run);
  return found == runs_.end() ? std::nullopt : found->second.newest;
}

void Asks::Take(const Line& line) {
  if (line.text.starts_with("[lbs]") || line.text.starts_with("[count timer invoker]")) {
    OfThread& thread = threads_[ThreadOf(line)];
    TakeAsk(line, thread);
    TakeFate(line, thread);
    TakeBegin(line, thread);
  }
}

void Asks::TakeAsk(const Line& line, OfThread& thread) {
  // The lines of an older log that name a reason.
  if (line.text == "[lbs]Call Update") {
    thread.hint = AskedBecause::kUpdate;
  } else if (line.text == "[count timer invoker][times] Invoke task") {
    thread.hint = AskedBecause::kThirdDefault;
  } else if (line.text == "[count timer invoker][time out] Invoke task") {
    thread.hint = AskedBecause::kDefaultTimer;
  }
  // The ask itself: its own line, or in an older log the line that follows it.
  const auto asked = After(line.text, "[lbs] Fetch asked for by ");
  const bool is_old = line.text.starts_with("[lbs]UpdateLBS force = ") && !thread.is_named;
  thread.is_named = asked.has_value();
  if (!asked && !is_old) {
    return;
  }
  Ask ask;
  ask.at_ms = line.at_ms;
  ask.run = line.run;
  ask.message = line.message;
  ask.because = asked ? ReasonOf(*asked) : thread.hint;
  ask.number = NumberAfter(line.text, "number:");
  thread.hint = AskedBecause::kOther;
  thread.ask = history_.asks.size();
  history_.asks.push_back(ask);
}

void Asks::TakeFate(const Line& line, OfThread& thread) {
  std::string_view rest = line.text;
  if (!thread.ask || !Skip(rest, "[lbs]UpdateLBS ")) {
    return;
  }
  Ask& ask = history_.asks[*thread.ask];
  if (rest == "set updatting = true") {
    ask.fate = Ask::Fate::kFetched;
    OfRun& run = runs_[line.run];
    run.newest = *thread.ask;
    run.accepted.push_back(*thread.ask);
    if (run.accepted.size() > kMostAccepted) {
      run.accepted.pop_front();
    }
  } else if (rest == "updatting_lbs_ = true,return") {
    ask.fate = Ask::Fate::kUnderWay;
  } else if (rest.starts_with("less than ")) {
    ask.fate = Ask::Fate::kTooSoon;
  } else {
    return;
  }
  thread.ask.reset();
}

void Asks::TakeBegin(const Line& line, OfThread& thread) {
  OfRun& run = runs_[line.run];
  const bool is_sent = line.text == "[lbs] Begin update LBS";
  const bool has_no_url = line.text == "[lbs] LBS addr url list empty!";
  if (line.text.starts_with("[lbs] Fetch begins ")) {
    const auto number = NumberAfter(line.text, "number:");
    const auto ask = std::find_if(run.accepted.begin(), run.accepted.end(),
                                  [&](size_t one) { return history_.asks[one].number == number; });
    thread.begins = ask == run.accepted.end() ? std::nullopt : std::optional(*ask);
    return;
  }
  if (!is_sent && !has_no_url) {
    return;
  }
  // Without a URL the log doesn't name the ask, and an older one never does: the service's thread
  // begins them in their order.
  if (!thread.begins && !run.accepted.empty() &&
      (has_no_url || !history_.asks[run.accepted.front()].number)) {
    thread.begins = run.accepted.front();
  }
  if (thread.begins) {
    std::erase(run.accepted, *thread.begins);
    if (is_sent) {
      run.begun.push_back(*thread.begins);
    } else {
      history_.asks[*thread.begins].fate = Ask::Fate::kNoUrl;
    }
    thread.begins.reset();
  }
}

}  // namespace history
