#include "tools/history/why_words.h"

#include <algorithm>
#include <set>

#include "tools/duration_words.h"
#include "tools/history/try_words.h"

namespace history {

namespace {

constexpr size_t kMostShown = 5;
constexpr char kUnknownConnection[] =
    "Whether the client could connect to a server isn't in this log";
constexpr char kUnknownOrigin[] = "The log doesn't say where the list comes from";

std::string Line(const std::string& sentence) {
  return "  " + sentence + ".\n";
}

std::string AddressOf(const Answer& answer) {
  return answer.host + ":" + std::to_string(answer.port);
}

std::string FamilyWords(int family) {
  return family == 1 ? "IPv4" : family == 2 ? "IPv6" : "any family";
}

std::string AskWords(int64_t at_ms, AskedBecause reason) {
  return "A newer list was asked for at " + TimeText(at_ms) + " because " + ReasonWords(reason);
}

bool HasFailedBefore(const Fetch& fetch, const Answer& answer) {
  return fetch.outcome == FetchOutcome::kFailed && fetch.end_ms && *fetch.end_ms <= answer.at_ms;
}

std::string RefusalWords(const std::string& refusal) {
  if (refusal == "other_url") {
    return "the cache was fetched with another first LBS URL";
  }
  if (refusal == "other_family") {
    return "the cache was fetched for another address family";
  }
  return "the cache was " + refusal;
}

}  // namespace

std::string WhyWords::Last() const {
  if (history_.answers.empty()) {
    return WithoutAnswer();
  }
  const size_t last = history_.answers.size() - 1;
  const Answer& answer = history_.answers[last];
  std::string text = Headline(answer) + Place(last);
  if (answer.document) {
    const Document& document = history_.documents[*answer.document];
    const News news = NewerFetches(document, answer);
    text += Origin(document) + (document.fetch ? Attempts(history_.fetches[*document.fetch]) : "");
    text += news.sentence + (news.fetch != nullptr ? Attempts(*news.fetch) : "");
  } else {
    text += Line(kUnknownOrigin);
  }
  if (last > 0 || answer.is_default) {
    text += Line(kUnknownConnection);
  }
  if (const Run& newest = history_.runs.back(); answer.run + 1 < history_.runs.size()) {
    text +=
        Line("The client has started again since then, at " +
             TimeText(newest.begin_ms.value_or(newest.last_ms)) + ", and has asked for no address");
  }
  return text;
}

std::string WhyWords::All() const {
  if (history_.answers.empty()) {
    return WithoutAnswer();
  }
  std::string text;
  std::set<const Document*> explained;
  std::set<const Fetch*> told;  // with their attempts
  std::string last_news;
  const auto tell = [&](const Fetch* fetch) {
    return fetch != nullptr && told.insert(fetch).second ? Attempts(*fetch) : "";
  };
  for (size_t i = 0; i < history_.answers.size(); ++i) {
    const Answer& answer = history_.answers[i];
    text += Headline(answer) + Place(i);
    if (!answer.document) {
      text += Line(kUnknownOrigin);
      continue;
    }
    const Document& document = history_.documents[*answer.document];
    const bool is_new = explained.insert(&document).second;
    if (is_new) {
      text +=
          Origin(document) + tell(document.fetch ? &history_.fetches[*document.fetch] : nullptr);
    }
    const News news = NewerFetches(document, answer);
    if (is_new || news.sentence != last_news) {
      text += news.sentence + tell(news.fetch);
    }
    last_news = news.sentence;
  }
  return text + Line(kUnknownConnection);
}

std::string WhyWords::Headline(const Answer& answer) const {
  std::string text = AddressOf(answer) + (answer.is_default ? "  a default" : "  from the list");
  if (answer.is_default) {
    text += DefaultOrigin(answer);
  } else if (answer.document) {
    const Document& document = history_.documents[*answer.document];
    text += document.from == Document::From::kSettings ? " of the client's settings" : "";
    text += ", in use since " + TimeText(document.at_ms);
  }
  const std::string asked = answer.family == 1 || answer.family == 2
                                ? " asked for an address of " + FamilyWords(answer.family) + " and"
                                : "";
  return text + "\n" + Line("The client" + asked + " got it at " + TimeText(answer.at_ms));
}

// A document without defaults leaves those of the settings.
std::string WhyWords::DefaultOrigin(const Answer& answer) const {
  if (!answer.document) {
    return "";
  }
  const Document& document = history_.documents[*answer.document];
  const std::vector<std::string>& defaults = document.defaults;
  const bool is_sent =
      document.from != Document::From::kSettings &&
      std::find(defaults.begin(), defaults.end(), AddressOf(answer)) != defaults.end();
  return is_sent ? " that came with the list" : " of the client's settings";
}

const Hold* WhyWords::HoldBefore(const Answer& answer) const {
  auto hold =
      std::lower_bound(history_.holds.begin(), history_.holds.end(), answer.message,
                       [](const Hold& one, size_t message) { return one.message < message; });
  while (hold != history_.holds.begin()) {
    --hold;
    if (hold->run == answer.run) {
      return &*hold;
    }
  }
  return nullptr;
}

WhyWords::Rotation WhyWords::RotationBefore(size_t place) const {
  const Answer& answer = history_.answers[place];
  Rotation rotation;
  size_t begin = answer.document ? history_.documents[*answer.document].message : 0;
  if (const Hold* hold = HoldBefore(answer); hold != nullptr && hold->message > begin) {
    rotation.hold = hold;
    begin = hold->message;
  }
  for (size_t i = place; i-- > 0 && history_.answers[i].message > begin;) {
    const Answer& one = history_.answers[i];
    if (one.run != answer.run) {
      continue;
    }
    if (one.is_default) {
      rotation.last_default = i;
      rotation.hold = nullptr;
      break;
    }
    rotation.got.push_back(i);
    if (!answer.is_default) {
      break;  // the walk from each answer over all before it would take long
    }
  }
  std::reverse(rotation.got.begin(), rotation.got.end());
  return rotation;
}

// Says which server of the list it is, or why it is a default.
std::string WhyWords::Place(size_t place) const {
  const Answer& answer = history_.answers[place];
  const Rotation rotation = RotationBefore(place);
  if (answer.is_default) {
    return WhyDefault(answer, rotation);
  }
  std::string text = "It is in the list";
  if (answer.document) {
    const std::vector<std::string>& links = history_.documents[*answer.document].links;
    const auto link = std::find(links.begin(), links.end(), AddressOf(answer));
    if (link != links.end()) {
      text = "It is server " + std::to_string(link - links.begin() + 1) + " of " +
             std::to_string(links.size()) + " in the list";
    }
  }
  if (!rotation.got.empty()) {
    const Answer& previous = history_.answers[rotation.got.back()];
    text += ": the client had got " + AddressOf(previous) + " at " + TimeText(previous.at_ms) +
            ", and asked again without a hold";
  } else if (rotation.last_default) {
    text += ": after a default, the list begins again";
  } else if (rotation.hold != nullptr) {
    text += ": the client had held " + rotation.hold->address + " at " +
            TimeText(rotation.hold->at_ms) +
            (rotation.hold->is_found ? "" : ", which isn't in the list, so the list began again");
  } else {
    text += ", the first answer from this list";
  }
  return Line(text);
}

std::string WhyWords::WhyDefault(const Answer& answer, const Rotation& rotation) const {
  if (rotation.got.empty()) {
    const std::string family = FamilyWords(answer.family);
    if (!answer.document) {
      return Line("It is a default because the list was used up, or has no server of " + family);
    }
    if (history_.documents[*answer.document].links.empty()) {
      return Line("It is a default because the list is empty");
    }
    return Line(rotation.hold != nullptr && rotation.hold->is_found
                    ? "It is a default because no server of " + family +
                          " comes after the held one in the list"
                    : "It is a default because the list has no server of " + family);
  }
  std::string servers;
  for (size_t i = 0; i < std::min(rotation.got.size(), kMostShown); ++i) {
    servers += (i == 0 ? "" : ", ") + AddressOf(history_.answers[rotation.got[i]]);
  }
  if (rotation.got.size() > kMostShown) {
    servers += " and " + std::to_string(rotation.got.size() - kMostShown) + " more";
  }
  return Line("It is a default because the list was used up: the client had got " + servers +
              ", and asked again, as it does if none of them connects");
}

std::string WhyWords::Origin(const Document& document) const {
  switch (document.from) {
    case Document::From::kSettings:
      return Line("The list is that of the client's settings, since " +
                  RefusalWords(document.cache_refusal));
    case Document::From::kCache:
      return Line(document.cache_age_ms
                      ? "The list comes from the cache: an earlier run of the client fetched it " +
                            DurationWords(*document.cache_age_ms) + " before this start"
                      : "The list comes from the cache, and no server had sent it: an earlier run "
                        "of the client made it from its settings, or an older version wrote it");
    case Document::From::kUnknown:
      return Line(kUnknownOrigin);
    case Document::From::kFetch:
      break;
  }
  if (!document.fetch) {
    return Line("The list was fetched from a server; the log lacks the lines about it");
  }
  return OriginOfFetched(document, history_.fetches[*document.fetch]);
}

std::string WhyWords::OriginOfFetched(const Document& document, const Fetch& fetch) const {
  std::string text = Line("The list was asked for because " + ReasonWords(fetch.asked_because));
  if (fetch.taken) {
    const Try& taken = fetch.tries[*fetch.taken];
    text += Line("The list was taken from " + ShortUrl(taken.url) + " (URL " +
                 std::to_string(taken.index) +
                 (taken.pass == 1 ? ")" : ", at an address from HTTP DNS)") + ", " +
                 std::to_string(document.at_ms - fetch.begin_ms) + " ms after it was asked for");
  }
  return text;
}

// Says what happened to each URL of a fetch.
std::string WhyWords::Attempts(const Fetch& fetch) const {
  const bool is_one = std::count_if(fetch.tries.begin(), fetch.tries.end(),
                                    [](const Try& one) { return one.pass == 1; }) == 1;
  const std::string had_failed = is_one ? "The only URL had failed" : "All URLs had failed";
  std::string text;
  int pass = 1;
  for (const Try& one : fetch.tries) {
    if (one.pass != pass) {
      pass = one.pass;
      std::string names;
      for (const std::string& name : fetch.names) {
        names += (names.empty() ? "" : ", ") + name;
      }
      text += Line(had_failed + ", so HTTP DNS was asked for the addresses of " +
                   (names.empty() ? "the hosts" : names) +
                   ". Then the second pass asked the URLs at these addresses");
    }
    text += Line(TryWords(one));
  }
  if (fetch.has_no_addresses) {
    text += Line(had_failed + ", and HTTP DNS gave no addresses for a second pass");
  }
  return text;
}

// Says why no newer document had replaced this one when the client got its answer. The order of the
// messages counts, since a fetch can take less than a ms.
WhyWords::News WhyWords::NewerFetches(const Document& document, const Answer& answer) const {
  const auto is_between = [&](size_t run, size_t message) {
    return run == answer.run && message > document.message && message < answer.message;
  };
  // Find the newest fetch, and a later wish that hasn't become one.
  const Fetch* newest = nullptr;
  int failed = 0;
  for (size_t i = 0; i < history_.fetches.size(); ++i) {
    const Fetch& fetch = history_.fetches[i];
    if (fetch.kind == Kind::kLbs && document.fetch != i &&
        is_between(fetch.run, fetch.messages.front())) {
      newest = &fetch;
      failed += HasFailedBefore(fetch, answer) ? 1 : 0;
    }
  }
  for (auto ask = history_.asks.rbegin(); ask != history_.asks.rend(); ++ask) {
    const bool is_wish =
        ask->fate == Ask::Fate::kNoUrl || (ask->fate == Ask::Fate::kFetched && !ask->fetch);
    if (is_wish && is_between(ask->run, ask->message) &&
        (newest == nullptr || ask->message > newest->messages.front())) {
      return {Line(AskWords(ask->at_ms, ask->because) +
                   (ask->fate == Ask::Fate::kNoUrl
                        ? ", but no URL is of the wanted family, so nothing was sent"
                        : ", but no request had been sent yet"))};
    }
  }
  if (newest == nullptr) {
    return {document.from == Document::From::kFetch ? "" : WithoutFetch(answer)};
  }
  // Say how it ended.
  std::string text = AskWords(newest->begin_ms, newest->asked_because);
  if (HasFailedBefore(*newest, answer)) {
    text += ", but no URL gave one, so this list stayed";
    text += failed == 2 ? ", as after an earlier failure" : "";
    text += failed > 2 ? ", as after " + std::to_string(failed - 1) + " earlier failures" : "";
  } else if (newest->outcome == FetchOutcome::kSuperseded && newest->end_ms <= answer.at_ms) {
    text += ", but the token or the network changed meanwhile, so its answer was ignored";
  } else {
    text += ", but it hadn't arrived yet";
    text += newest->outcome == FetchOutcome::kTaken && newest->end_ms
                ? ": it came at " + TimeText(*newest->end_ms)
                : "";
  }
  return {Line(text), newest};
}

// Says that no list was asked for, and why, if the reason is that the client has no token.
std::string WhyWords::WithoutFetch(const Answer& answer) const {
  bool has_token = history_.runs[answer.run].settings.find(" key:none") == std::string::npos;
  for (const Change& change : history_.changes) {
    if (change.what == Change::What::kToken && change.run == answer.run &&
        change.message < answer.message) {
      has_token = change.value != "none";
    }
  }
  return Line(has_token ? "No newer list had been asked for yet"
                        : "No newer list had been asked for: the client has no token, and without "
                          "one a start or a change of network asks for none");
}

std::string WhyWords::WithoutAnswer() const {
  const bool is_whole = history_.runs.empty() || history_.runs.front().begin_ms;
  std::string text = "The log has no answer to the client";
  text += is_whole ? ": it has asked for no address.\n" : ", but its begin is lost.\n";
  for (auto fetch = history_.fetches.rbegin(); fetch != history_.fetches.rend(); ++fetch) {
    if (fetch->kind == Kind::kLbs) {
      return text +
             Line("A list was asked for at " + TimeText(fetch->begin_ms) + " because " +
                  ReasonWords(fetch->asked_because)) +
             Attempts(*fetch);
    }
  }
  return text;
}

}  // namespace history
