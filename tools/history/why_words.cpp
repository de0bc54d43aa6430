#include "tools/history/why_words.h"

#include <algorithm>

#include "tools/history/try_words.h"

namespace history {

namespace {

constexpr int64_t kSecondMs = 1000;
constexpr size_t kMostShown = 5;

std::string Line(const std::string& sentence) {
  return "  " + sentence + ".\n";
}

std::string AddressOf(const Answer& answer) {
  return answer.host + ":" + std::to_string(answer.port);
}

// Returns an age in its largest unit: "3 days".
std::string AgeWords(int64_t age_ms) {
  struct Unit {
    int64_t seconds;
    const char* name;
  };
  for (const Unit& unit : {Unit{86400, "day"}, Unit{3600, "hour"}, Unit{60, "minute"}}) {
    const int64_t count = age_ms / kSecondMs / unit.seconds;
    if (count > 0) {
      return std::to_string(count) + " " + unit.name + (count > 1 ? "s" : "");
    }
  }
  return std::to_string(age_ms) + " ms";
}

std::string FamilyWords(int family) {
  return family == 1 ? "IPv4" : family == 2 ? "IPv6" : "its family";
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
    text += Origin(document) + NewerFetches(document, answer.at_ms);
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
  std::optional<size_t> explained;
  for (size_t i = 0; i < history_.answers.size(); ++i) {
    const Answer& answer = history_.answers[i];
    text += Headline(answer) + Place(i);
    if (answer.document && answer.document != explained) {
      const Document& document = history_.documents[*answer.document];
      text += Origin(document) + NewerFetches(document, answer.at_ms);
      explained = answer.document;
    }
  }
  return text;
}

std::string WhyWords::Headline(const Answer& answer) const {
  std::string text = AddressOf(answer) + (answer.is_default ? "  a default" : "  from the list");
  if (answer.document && !answer.is_default) {
    text += ", since " + TimeText(history_.documents[*answer.document].at_ms);
  }
  return text + "\n" + Line("The client got it at " + TimeText(answer.at_ms));
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
    const bool is_empty = answer.document && history_.documents[*answer.document].links.empty();
    return Line(is_empty ? "It is a default because the list is empty"
                         : "It is a default because the list has no server of " +
                               FamilyWords(answer.family) + " that comes after the held one");
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
                            AgeWords(*document.cache_age_ms) + " before this start"
                      : "The list comes from the cache, and no server had sent it: an earlier run "
                        "of the client made it from its settings, or an older version wrote it");
    case Document::From::kUnknown:
      return Line("The log doesn't say where the list comes from");
    case Document::From::kFetch:
      break;
  }
  if (!document.fetch) {
    return Line("The list was fetched from a server; the log lacks the lines about it");
  }
  const Fetch& fetch = history_.fetches[*document.fetch];
  std::string text;
  if (fetch.taken) {
    const Try& taken = fetch.tries[*fetch.taken];
    text =
        Line("The list was taken from " + ShortUrl(taken.url) + " (URL " +
             std::to_string(taken.index) + (taken.pass == 1 ? ", first pass)" : ", second pass)") +
             ", " + std::to_string(document.at_ms - fetch.begin_ms) + " ms after it was asked for");
  }
  return text + Attempts(fetch) +
         Line("The list was asked for because " + ReasonWords(fetch.asked_because));
}

// Says what happened to each URL of a fetch.
std::string WhyWords::Attempts(const Fetch& fetch) const {
  std::string text;
  int pass = 1;
  for (const Try& one : fetch.tries) {
    if (one.pass != pass) {
      pass = one.pass;
      std::string names;
      for (const std::string& name : fetch.names) {
        names += (names.empty() ? "" : ", ") + name;
      }
      text += Line("All URLs had failed, so HTTP DNS was asked for the addresses of " +
                   (names.empty() ? "their hosts" : names) +
                   ", and the URLs were asked again there: the second pass");
    }
    text += Line(TryWords(one));
  }
  if (fetch.has_no_addresses) {
    text += Line("All URLs had failed, and HTTP DNS had no addresses for a second pass");
  }
  return text;
}

// Says why no newer document has replaced this one.
std::string WhyWords::NewerFetches(const Document& document, int64_t until_ms) const {
  const Fetch* newest = nullptr;
  int failed = 0;
  for (const Fetch& fetch : history_.fetches) {
    const bool is_newer = fetch.kind == Kind::kLbs && fetch.run == document.run &&
                          fetch.begin_ms >= document.at_ms && fetch.begin_ms <= until_ms;
    if (is_newer && fetch.outcome != FetchOutcome::kTaken) {
      newest = &fetch;
      failed += fetch.outcome == FetchOutcome::kFailed ? 1 : 0;
    }
  }
  if (newest == nullptr) {
    return "";
  }
  std::string text = "A newer list was asked for at " + TimeText(newest->begin_ms) + " because " +
                     ReasonWords(newest->asked_because);
  if (newest->outcome == FetchOutcome::kFailed && newest->end_ms <= until_ms) {
    text += ", but no URL gave one, so this list stayed";
    text += failed == 2 ? ", as after an earlier failure" : "";
    text += failed > 2 ? ", as after " + std::to_string(failed - 1) + " earlier failures" : "";
  } else if (newest->outcome == FetchOutcome::kSuperseded) {
    text += ", but the token or the network changed meanwhile, so its answer was ignored";
  } else {
    text += ", but it hadn't arrived yet";
  }
  return Line(text) + Attempts(*newest);
}

std::string WhyWords::WithoutAnswer() const {
  std::string text = "The log has no answer to the client: it has asked for no address.\n";
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
