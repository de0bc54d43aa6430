#include "tools/history/requests.h"

#include <algorithm>
#include <utility>

namespace history {

namespace {

constexpr int kStatusOk = 200;
// A log that lost lines leaves requests open.
constexpr size_t kMostOpen = 256;

Kind KindOf(std::string_view url) {
  if (url.ends_with("/httpdns/v2/s")) {
    return Kind::kService;  // an LBS URL has a query
  }
  if (url.find("/httpdns/v2/d?domain") != std::string_view::npos) {
    return Kind::kHosts;
  }
  return url.ends_with("/statics/report/im/api/error") ? Kind::kReport : Kind::kLbs;
}

}  // namespace

std::optional<size_t> Requests::JudgedBy(const ThreadKey& thread) const {
  const auto found = threads_.find(thread);
  return found == threads_.end() ? std::nullopt : found->second.judged;
}

void Requests::Take(size_t place) {
  const Line& line = lines_[place];
  if (StepLines::IsAnswer(line.text) || StepLines::IsSilence(line.text)) {
    TakeStep(line, StepLines(lines_, place));
  } else if (line.text.starts_with("[multiple]Invoke send multiple url")) {
    TakeRequest(line);
  } else if (line.text.starts_with("[transfer] ")) {
    transfers_.Take(line);
  } else if (line.text.starts_with("[multiple]") || line.text.starts_with("[lbs] Update LBS ") ||
             line.text.starts_with("[lbs]ParseLBSResponse parsel result = false")) {
    TakeAfterAnswer(line, threads_[ThreadOf(line)]);
  }
}

// --- A request begins ---

void Requests::TakeRequest(const Line& line) {
  // Read its URLs, "host:H url:U" each.
  Request request;
  request.thread = ThreadOf(line);
  std::string_view rest = FramedText(line.text);
  while (!rest.empty()) {
    const std::string_view one = rest.substr(0, rest.find("\r\n"));
    rest.remove_prefix(std::min(one.size() + 2, rest.size()));
    std::string_view url = one;
    if (Skip(url, "host:")) {
      const std::string_view host = url.substr(0, url.find(" url:"));
      url.remove_prefix(host.size());
      if (Skip(url, " url:")) {
        request.urls.push_back({std::string(host), std::string(url), transfers_.NumberOf(url)});
      }
    }
  }
  if (request.urls.empty()) {
    return;
  }
  if (line.previous) {
    request.may_use_http_dns = lines_[*line.previous].text.ends_with(" use http dns:true");
  }
  // Find the fetch that it belongs to, and the first URL, which is sent at once.
  OfThread& thread = threads_[request.thread];
  if (std::exchange(thread.begins_second_pass, false) && thread.judged) {
    request.fetch = *thread.judged;
    request.pass = 2;
  } else {
    request.fetch = AddFetch(line, request.urls.front().url);
  }
  Fetch& fetch = history_.fetches[request.fetch];
  fetch.messages.push_back(line.message);
  if (line.next && lines_[*line.next].text.starts_with("[multiple]Send sub url request:")) {
    AddTry(lines_[*line.next], StartedBecause::kFirst, std::nullopt, request);
  }
  std::map<size_t, Request>& open = open_[line.run];
  open.emplace(++last_number_, std::move(request));
  if (open.size() > kMostOpen) {
    open.erase(open.begin());
  }
}

size_t Requests::AddFetch(const Line& line, const std::string& url) {
  Fetch fetch;
  fetch.kind = KindOf(url);
  fetch.run = line.run;
  fetch.begin_ms = line.at_ms;
  const size_t number = history_.fetches.size();
  if (fetch.kind == Kind::kLbs) {
    fetch.ask = asks_.TakeBegun(line.run);
    if (fetch.ask) {
      Ask& ask = history_.asks[*fetch.ask];
      ask.fetch = number;
      fetch.begin_ms = ask.at_ms;
      fetch.asked_because = ask.because;
      fetch.number = ask.number;
      fetch.messages.push_back(ask.message);
    }
  } else if (fetch.kind == Kind::kService) {
    fetch.begin_ms = hosts_.TakeBeginOfService(line.run).value_or(line.at_ms);
  } else if (fetch.kind == Kind::kHosts) {
    if (const auto wish = hosts_.TakeWishOfHosts(line.run, url)) {
      fetch.begin_ms = wish->at_ms;
      fetch.asked_because =
          wish->is_for_second_pass ? AskedBecause::kSecondPass : AskedBecause::kOther;
    }
  }
  history_.fetches.push_back(std::move(fetch));
  return number;
}

void Requests::AddTry(const Line& line, StartedBecause because, std::optional<size_t> started_by,
                      Request& request) {
  ++request.index;
  const Url& url = request.urls[static_cast<size_t>(request.index)];
  Try one;
  one.index = request.index;
  one.pass = request.pass;
  one.url = url.url;
  one.host = url.host;
  one.begin_ms = line.at_ms;
  one.started_because = because;
  one.started_by = started_by;
  one.messages.push_back(line.message);
  std::vector<Try>& tries = history_.fetches[request.fetch].tries;
  request.in_flight[request.index] = tries.size();
  request.armed[request.index] = tries.size();
  tries.push_back(std::move(one));
}

// --- A step of a request ---

bool Requests::Fits(const Request& request, const StepLines& step) const {
  const bool all_requested = static_cast<size_t>(request.index) + 1 >= request.urls.size();
  const auto& places = step.is_silence ? request.armed : request.in_flight;
  if (!places.contains(step.index) ||
      all_requested != step.is_all_requested.value_or(all_requested) ||
      history_.fetches[request.fetch].kind !=
          step.kind.value_or(history_.fetches[request.fetch].kind)) {
    return false;
  }
  if (step.next_index.value_or(request.index + 1) != request.index + 1) {
    return false;
  }
  return step.next == nullptr ||
         (!all_requested &&
          request.urls[static_cast<size_t>(request.index) + 1].url == step.next_url);
}

// The next three say less than Fits: lines are missing, or two threads have logged in another order
// than they have acted. So each counts only if it leaves a request.

bool Requests::FitsTimers(const Request& request, const StepLines& step) {
  const bool is_armed = request.armed.contains(step.index);
  const bool others_armed = request.armed.size() > (is_armed ? 1 : 0);
  return step.is_good != false ||
         (step.had_timer == is_armed && step.has_waiting.value_or(others_armed) == others_armed);
}

bool Requests::FitsNewest(const Request& request, const StepLines& step) const {
  const bool is_newest = history_.fetches[request.fetch].ask == asks_.Newest(request.thread.first);
  return !(step.IsOutdated() && is_newest) && !(step.is_judged && !is_newest);
}

bool Requests::FitsFailure(const Request& request, const StepLines& step) const {
  return step.code != 0 ||
         transfers_.HasFailureOf(request.urls[static_cast<size_t>(step.index)].number,
                                 history_.fetches[request.fetch].run);
}

// Returns the numbers of the open requests that the step can belong to.
std::vector<size_t> Requests::Fitting(const Line& line, const StepLines& step) const {
  const auto open = open_.find(line.run);
  if (open == open_.end()) {
    return {};
  }
  std::vector<size_t> fitting;
  for (const auto& [number, request] : open->second) {
    if (Fits(request, step)) {
      fitting.push_back(number);
    }
  }
  const auto keep_if = [&](const auto& fits) {
    std::vector<size_t> kept;
    std::copy_if(fitting.begin(), fitting.end(), std::back_inserter(kept),
                 [&](size_t number) { return fits(open->second.at(number)); });
    if (!kept.empty()) {
      fitting.swap(kept);
    }
  };
  // Once a thread has ended, workers take its steps.
  keep_if([&](const Request& request) { return request.thread == ThreadOf(line); });
  if (!step.is_silence) {
    keep_if([&](const Request& request) { return FitsTimers(request, step); });
    keep_if([&](const Request& request) { return FitsNewest(request, step); });
    keep_if([&](const Request& request) { return FitsFailure(request, step); });
  }
  return fitting;
}

void Requests::TakeStep(const Line& line, const StepLines& step) {
  OfThread& thread = threads_[ThreadOf(line)];
  if (!step.is_silence) {
    thread.judged.reset();
  }
  const std::vector<size_t> fitting = Fitting(line, step);
  if (fitting.empty()) {
    return;
  }
  // The silences of a thread come in the order in which its URLs were sent.
  size_t chosen = fitting.front();
  std::map<size_t, Request>& open = open_.at(line.run);
  const auto try_of = [&](size_t number) -> Try& {
    const Request& request = open.at(number);
    return history_.fetches[request.fetch].tries[request.in_flight.at(step.index)];
  };
  if (step.is_silence) {
    chosen = *std::min_element(fitting.begin(), fitting.end(), [&](size_t a, size_t b) {
      return try_of(a).messages.front() < try_of(b).messages.front();
    });
  } else if (fitting.size() > 1) {
    for (const size_t number : fitting) {
      try_of(number).is_unsure = true;
    }
  }
  Request& request = open.at(chosen);
  Try& one = try_of(chosen);
  one.messages.insert(one.messages.end(), step.messages.begin(), step.messages.end());
  if (step.is_silence) {
    TakeSilence(line, step, request);
    return;
  }
  thread.judged = request.fetch;
  TakeAnswer(line, step, request);
  if (step.is_last || step.is_good.value_or(false)) {
    EndTries(request);
    open.erase(chosen);
  }
}

void Requests::TakeSilence(const Line& line, const StepLines& step, Request& request) {
  const size_t place = request.armed.at(step.index);
  request.armed.erase(step.index);
  if (step.next != nullptr) {
    history_.fetches[request.fetch].tries[place].silent_ms = line.at_ms;
    AddTry(*step.next, StartedBecause::kSilence, place, request);
  }
}

void Requests::TakeAnswer(const Line& line, const StepLines& step, Request& request) {
  const size_t place = request.in_flight.at(step.index);
  request.in_flight.erase(step.index);
  request.armed.erase(step.index);
  Fetch& fetch = history_.fetches[request.fetch];
  Try& one = fetch.tries[place];
  one.end_ms = line.at_ms;
  one.status = step.code;
  if (const auto failure = transfers_.TakeFailureOf(one, fetch.run, step.code != 0)) {
    one.cause = failure->cause;
    one.is_unsure = one.is_unsure || failure->is_unsure;
    one.messages.push_back(failure->message);
  }
  if (step.is_good.value_or(false)) {
    Judge(line, step, fetch, place);
  } else if (step.code == 0 || !one.cause.empty()) {
    one.outcome = TryOutcome::kFailed;
  } else {
    one.outcome = step.code == kStatusOk ? TryOutcome::kBadDocument : TryOutcome::kBadStatus;
  }
  if (step.next != nullptr) {
    AddTry(*step.next, StartedBecause::kFailure, place, request);
  }
  if (step.is_last && !request.may_use_http_dns) {
    EndFetch(line, FetchOutcome::kFailed, request.fetch);
  }
}

// An answer that ends its request is good, or it is ignored: it is outdated, or its service has
// ended and judges nothing.
void Requests::Judge(const Line& line, const StepLines& step, Fetch& fetch, size_t place) {
  Try& one = fetch.tries[place];
  one.outcome = TryOutcome::kDropped;
  fetch.end_ms = line.at_ms;
  if (step.IsOutdated()) {
    fetch.outcome = FetchOutcome::kSuperseded;
  } else if (step.code == kStatusOk && (fetch.kind != Kind::kLbs || step.is_judged)) {
    one.outcome = TryOutcome::kTaken;
    fetch.outcome = FetchOutcome::kTaken;
    fetch.taken = place;
  }
}

// --- A request ends ---

void Requests::EndTries(const Request& request) {
  for (const auto& [index, place] : request.in_flight) {
    Try& one = history_.fetches[request.fetch].tries[place];
    one.outcome = one.silent_ms ? TryOutcome::kLate : TryOutcome::kDropped;
  }
}

void Requests::EndFetch(const Line& line, FetchOutcome outcome, size_t fetch) {
  history_.fetches[fetch].outcome = outcome;
  history_.fetches[fetch].end_ms = line.at_ms;
}

// Takes that the service couldn't use an answer that it had found good.
void Requests::TakeRefusal(Fetch& fetch) {
  if (fetch.taken) {
    fetch.tries[*fetch.taken].outcome = TryOutcome::kBadDocument;
    fetch.taken.reset();
  }
}

// Returns the first request to HTTP DNS for a second pass from a place on.
std::optional<size_t> Requests::HostsFetch(size_t run, size_t first) const {
  for (size_t place = first; place < history_.fetches.size(); ++place) {
    const Fetch& fetch = history_.fetches[place];
    if (fetch.kind == Kind::kHosts && fetch.run == run &&
        fetch.asked_because == AskedBecause::kSecondPass) {
      return place;
    }
  }
  return std::nullopt;
}

// Takes the lines that follow an answer on its thread.
void Requests::TakeAfterAnswer(const Line& line, OfThread& thread) {
  std::string_view rest = line.text;
  if (!thread.judged) {
    return;
  }
  Fetch& fetch = history_.fetches[*thread.judged];
  if (rest == "[multiple]Use http dns,host:") {
    thread.asked_hosts = history_.fetches.size();
  } else if (Skip(rest, "[multiple] -- ")) {
    fetch.names.emplace_back(rest);
  } else if (rest == "[multiple]Use http dns,host list empty" ||
             (fetch.kind == Kind::kLbs && rest == "[lbs] Update LBS success = false")) {
    TakeRefusal(fetch);
    EndFetch(line, FetchOutcome::kFailed, *thread.judged);
  } else if (rest.starts_with("[lbs]ParseLBSResponse ")) {
    // The start reads the cache on this thread too, with no answer before it.
    if (!fetch.taken) {
      return;
    }
    TakeRefusal(fetch);
    EndFetch(line, FetchOutcome::kFailed, *thread.judged);
  } else if (rest == "[multiple]User http dns,query host fail" ||
             rest == "[multiple]Use http dns,url empty") {
    fetch.has_no_addresses = true;
    fetch.hosts_fetch =
        HostsFetch(line.run, std::exchange(thread.asked_hosts, history_.fetches.size()));
    EndFetch(line, FetchOutcome::kFailed, *thread.judged);
  } else if (rest.starts_with("[multiple]User http dns, ") ||
             rest.starts_with("[multiple]Second pass of ")) {
    thread.begins_second_pass = true;
  } else if (fetch.kind == Kind::kLbs && rest.starts_with("[lbs] Update LBS complete ") &&
             !(line.next && lines_[*line.next].text.starts_with("[lbs] Update LBS success = "))) {
    EndFetch(line, FetchOutcome::kSuperseded, *thread.judged);
    if (fetch.taken) {
      fetch.tries[*fetch.taken].outcome = TryOutcome::kDropped;
      fetch.taken.reset();
    }
  } else {
    return;
  }
  fetch.messages.push_back(line.message);
}

void Requests::TakeEnd() {
  for (Fetch& fetch : history_.fetches) {
    for (Try& one : fetch.tries) {
      if (one.end_ms) {
        continue;
      }
      if (const auto failure = transfers_.TakeFailureOf(one, fetch.run, true)) {
        one.cause = failure->cause;
        // A worker can be faster than the line that says that it was asked.
        one.end_ms = std::max(failure->end_ms, one.begin_ms);
        if (one.outcome == TryOutcome::kUnderWay) {
          one.outcome = TryOutcome::kFailed;
        }
        one.messages.push_back(failure->message);
      }
    }
  }
}

}  // namespace history
