#include "tools/history/why_words.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "tools/duration_words.h"
#include "tools/history/so_far.h"
#include "tools/history/try_words.h"

namespace history {

namespace {

constexpr char kUnknownConnection[] =
    "Whether the client could connect to a server isn't in this log";
constexpr char kUnknownOrigin[] = "The log doesn't say where the list comes from";

std::string Sentence(const std::string& sentence) {
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

bool HasEndedBefore(const Fetch& fetch, const Answer& answer) {
  return fetch.outcome != FetchOutcome::kUnderWay && fetch.end_ms && *fetch.end_ms <= answer.at_ms;
}

// Returns how a fetch of this run ended whose list the client didn't use for the answer.
std::string EndWords(const Fetch& fetch, const Run& run, const Answer& answer) {
  if (!HasEndedBefore(fetch, answer)) {
    const std::string words = ", but it hadn't arrived yet";
    if (fetch.outcome == FetchOutcome::kTaken && fetch.end_ms) {
      return words + ": it came at " + TimeText(*fetch.end_ms);
    }
    const bool ended_by_exit = fetch.outcome == FetchOutcome::kUnderWay && run.exit_ms;
    return words + (ended_by_exit
                        ? ", and the client exited at " + TimeText(*run.exit_ms) + " before it came"
                        : "");
  }
  switch (fetch.outcome) {
    case FetchOutcome::kFailed:
      return ", but no URL gave one, so the list stayed";
    case FetchOutcome::kSuperseded:
      return ", but the token or the network changed meanwhile, so its answer was ignored";
    case FetchOutcome::kTaken:
    case FetchOutcome::kUnderWay:
      break;
  }
  return ", and came at " + TimeText(*fetch.end_ms);
}

// Says that HTTP DNS gave no addresses. `hosts_fetch` is the request that asked it, if any.
std::string WithoutAddressesWords(const std::string& names, const Fetch* hosts_fetch) {
  const std::string asked = ", and HTTP DNS was asked for addresses of " + names;
  if (hosts_fetch == nullptr) {
    return ", and HTTP DNS gave no addresses of " + names + ": the log has no request for them";
  }
  switch (hosts_fetch->outcome) {
    case FetchOutcome::kTaken:
      return asked + ", but it had none";
    case FetchOutcome::kFailed:
      return asked + ", but its request failed";
    case FetchOutcome::kSuperseded:
    case FetchOutcome::kUnderWay:
      break;
  }
  return asked + ", but it hadn't answered";
}

// Returns where a default comes from: the list's defaults replace those of the settings.
bool IsDefaultOfList(const Answer& answer, const Document& document) {
  return document.from != Document::From::kSettings &&
         std::find(document.defaults.begin(), document.defaults.end(), AddressOf(answer)) !=
             document.defaults.end();
}

// Remembers what it has explained.
class Teller {
 public:
  explicit Teller(const History& history)
      : history_(history),
        told_documents_(history.documents.size()),
        told_fetches_(history.fetches.size()) {}

  // Returns the text about an answer. With `with_earlier`, it also tells of each fetch since the
  // answer before.
  std::string Tell(const Answer& answer, const SoFar& so_far, bool with_earlier);
  // Returns what the log can't show, if an answer that was told makes the reader ask for it.
  [[nodiscard]] std::string Limits() const;
  std::string WithoutAnswer();
  std::string NewestFetch(size_t first_run);

 private:
  [[nodiscard]] std::string Headline(const Answer& answer) const;
  std::string Place(const Answer& answer, const SoFar& so_far);
  [[nodiscard]] std::string WhyDefault(const Answer& answer, const SoFar& so_far) const;
  std::string Origin(const Document& document);
  std::string Attempts(size_t fetch);
  std::string EarlierFetches(const Document& document, const Answer& answer, const SoFar& so_far);
  [[nodiscard]] std::string NewerFetch(const Document& document, const Answer& answer,
                                       const SoFar& so_far) const;
  [[nodiscard]] std::string WithoutFetch(const Answer& answer, const SoFar& so_far) const;

  const History& history_;
  std::vector<bool> told_documents_;
  std::vector<bool> told_fetches_;            // what their URLs answered
  std::map<size_t, std::string> told_newer_;  // by run: what was said of the newest fetch
  bool asks_for_more_ = false;  // an answer was a default, or followed another without a hold
};

std::string Teller::Tell(const Answer& answer, const SoFar& so_far, bool with_earlier) {
  std::string text = Headline(answer) + Place(answer, so_far);
  if (!answer.document) {
    return text + Sentence(kUnknownOrigin);
  }
  // Explain the list at its first answer.
  const Document& document = history_.documents[*answer.document];
  const bool is_known = told_documents_[*answer.document];
  told_documents_[*answer.document] = true;
  text += is_known ? "" : Origin(document);
  text += with_earlier ? EarlierFetches(document, answer, so_far) : "";
  // Say what became of a newer one whenever that has changed.
  std::string newer = NewerFetch(document, answer, so_far);
  std::string& told = told_newer_[answer.run];
  if (!is_known || newer != told) {
    text += newer;
    told = std::move(newer);
  }
  const bool has_begun = so_far.newest && so_far.wish == nullptr;
  return has_begun && !told_fetches_[*so_far.newest] ? text + Attempts(*so_far.newest) : text;
}

std::string Teller::Limits() const {
  return asks_for_more_ ? Sentence(kUnknownConnection) : "";
}

std::string Teller::Headline(const Answer& answer) const {
  const Document* document = answer.document ? &history_.documents[*answer.document] : nullptr;
  std::string text = AddressOf(answer) + (answer.is_default ? "  a default" : "  from the list");
  if (document != nullptr && answer.is_default) {
    text += IsDefaultOfList(answer, *document) ? " that came with the list"
                                               : " of the client's settings";
  } else if (document != nullptr) {
    text += document->from == Document::From::kSettings ? " of the client's settings" : "";
    text += ", in use since " + TimeText(document->at_ms);
  }
  const std::string asked = answer.family == 1 || answer.family == 2
                                ? " asked for an address of " + FamilyWords(answer.family) + " and"
                                : "";
  return text + "\n" + Sentence("The client" + asked + " got it at " + TimeText(answer.at_ms));
}

// Says which server of the list it is, or why it is a default.
std::string Teller::Place(const Answer& answer, const SoFar& so_far) {
  asks_for_more_ = asks_for_more_ || so_far.got_count > 0 || answer.is_default;
  if (answer.is_default) {
    return WhyDefault(answer, so_far);
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
  if (so_far.got_count > 0) {
    const Answer& previous = history_.answers[so_far.got_last];
    text += ": the client had got " + AddressOf(previous) + " at " + TimeText(previous.at_ms) +
            ", and asked again without a hold";
  } else if (so_far.is_after_default) {
    text += ": after a default, the list begins again";
  } else if (so_far.hold != nullptr) {
    const Hold& hold = *so_far.hold;
    text += (hold.is_found ? ": the client had held " : ": the client had tried to hold ") +
            hold.address + " at " + TimeText(hold.at_ms);
    text += hold.is_found ? "" : "; " + HoldWords(hold) + ", and the list began again";
  } else {
    text += ", the first answer from this list";
  }
  return Sentence(text);
}

std::string Teller::WhyDefault(const Answer& answer, const SoFar& so_far) const {
  if (so_far.got_count == 0) {
    const std::string family = FamilyWords(answer.family);
    if (!answer.document) {
      return Sentence("It is a default because the list was used up, or has no server of " +
                      family);
    }
    if (history_.documents[*answer.document].links.empty()) {
      return Sentence("It is a default because the list is empty");
    }
    return Sentence(so_far.hold != nullptr && so_far.hold->is_found
                        ? "It is a default because no server of " + family +
                              " comes after the held one in the list"
                        : "It is a default because the list has no server of " + family);
  }
  std::string servers;
  for (const size_t place : so_far.got) {
    servers += (servers.empty() ? "" : ", ") + AddressOf(history_.answers[place]);
  }
  if (so_far.got_count > so_far.got.size()) {
    servers += " and " + std::to_string(so_far.got_count - so_far.got.size()) + " more";
  }
  return Sentence("It is a default because the list was used up: the client had got " + servers +
                  ", and asked again, as it does if none of them connects");
}

std::string Teller::Origin(const Document& document) {
  switch (document.from) {
    case Document::From::kSettings:
      return Sentence("The list is that of the client's settings, since " +
                      RefusalWords(document.cache_refusal));
    case Document::From::kCache:
      return Sentence(
          document.cache_age_ms
              ? "The list comes from the cache: an earlier run of the client fetched it " +
                    DurationWords(*document.cache_age_ms) + " before this start"
              : "The list comes from the cache, and no server had sent it: an earlier run "
                "of the client made it from its settings, or an older version wrote it");
    case Document::From::kUnknown:
      return Sentence(kUnknownOrigin);
    case Document::From::kFetch:
      break;
  }
  if (!document.fetch) {
    return Sentence("The list was fetched from a server; the log lacks the lines about it");
  }
  const Fetch& fetch = history_.fetches[*document.fetch];
  std::string text;
  if (fetch.taken) {
    const Try& taken = fetch.tries[*fetch.taken];
    text = Sentence("The list was taken from " + ShortUrl(taken.url) + " (URL " +
                    std::to_string(taken.index) +
                    (taken.pass == 1 ? "), " : ", at an address from HTTP DNS), ") +
                    std::to_string(document.at_ms - fetch.begin_ms) + " ms after it was asked for");
  }
  text += told_fetches_[*document.fetch] ? Sentence("The answers of its fetch are listed above")
                                         : Attempts(*document.fetch);
  return text + Sentence("The list was asked for because " + ReasonWords(fetch.asked_because));
}

// Says what happened to each URL of a fetch.
std::string Teller::Attempts(size_t place) {
  told_fetches_[place] = true;
  const Fetch& fetch = history_.fetches[place];
  const bool is_one = fetch.tries.size() < 2 || fetch.tries[1].pass != 1;
  const std::string failed = is_one ? "The only URL had failed" : "All URLs had failed";
  std::string names;
  for (const std::string& name : fetch.names) {
    names += (names.empty() ? "" : ", ") + name;
  }
  names = names.empty() ? (is_one ? "its host" : "their hosts") : names;
  const std::string second_pass = failed + ", so HTTP DNS was asked for the addresses of " + names;
  std::string text;
  int pass = 1;
  for (const Try& one : fetch.tries) {
    if (std::exchange(pass, one.pass) != one.pass) {
      text += Sentence(second_pass);
      text += Sentence("Then the second pass asked the URLs at these addresses");
    }
    text += Sentence(TryWords(one));
  }
  if (fetch.has_no_addresses) {
    text += Sentence(
        failed + WithoutAddressesWords(
                     names, fetch.hosts_fetch ? &history_.fetches[*fetch.hosts_fetch] : nullptr));
  }
  return text;
}

// Tells of the fetches since the answer before, without the newest and without that of the list.
std::string Teller::EarlierFetches(const Document& document, const Answer& answer,
                                   const SoFar& so_far) {
  std::string text;
  for (const size_t place : so_far.fetches) {
    if (told_fetches_[place] || place == so_far.newest || place == document.fetch) {
      continue;
    }
    const Fetch& fetch = history_.fetches[place];
    text += Sentence("A list was asked for at " + TimeText(fetch.begin_ms) + " because " +
                     ReasonWords(fetch.asked_because) +
                     EndWords(fetch, history_.runs[fetch.run], answer));
    text += Attempts(place);
  }
  return text;
}

// Says why no newer list had replaced this one when the client got its answer.
std::string Teller::NewerFetch(const Document& document, const Answer& answer,
                               const SoFar& so_far) const {
  if (so_far.wish != nullptr) {
    return Sentence(AskWords(so_far.wish->at_ms, so_far.wish->because) +
                    (so_far.wish->fate == Ask::Fate::kNoUrl
                         ? ", but no URL is of the wanted family, so nothing was sent"
                         : ", but no request had been sent yet"));
  }
  if (!so_far.newest) {
    return document.from == Document::From::kFetch ? "" : WithoutFetch(answer, so_far);
  }
  const Fetch& newest = history_.fetches[*so_far.newest];
  std::string text = Sentence(AskWords(newest.begin_ms, newest.asked_because) +
                              EndWords(newest, history_.runs[newest.run], answer));
  if (so_far.failed > 0 && HasEndedBefore(newest, answer)) {
    text += Sentence(so_far.failed == 1
                         ? "An earlier fetch had failed too"
                         : std::to_string(so_far.failed) + " earlier fetches had failed too");
  }
  return text;
}

// Says that no list was asked for, and why, if the reason is that the client has no token.
std::string Teller::WithoutFetch(const Answer& answer, const SoFar& so_far) const {
  const bool has_token = so_far.has_token.value_or(
      history_.runs[answer.run].settings.find(" key:none") == std::string::npos);
  return Sentence(has_token
                      ? "No newer list had been asked for yet"
                      : "No newer list had been asked for: the client has no token, and without "
                        "one a start or a change of network asks for none");
}

std::string Teller::WithoutAnswer() {
  const bool is_whole = history_.runs.empty() || history_.runs.front().begin_ms;
  std::string text = "The log has no answer to the client";
  text += is_whole ? ": it has asked for no address.\n" : ", but its begin is lost.\n";
  return text + NewestFetch(0);
}

// Tells of the newest fetch of a list in the runs from this one on.
std::string Teller::NewestFetch(size_t first_run) {
  for (size_t place = history_.fetches.size(); place-- > 0;) {
    const Fetch& fetch = history_.fetches[place];
    if (fetch.kind == Kind::kLbs && fetch.run >= first_run) {
      return Sentence("A list was asked for at " + TimeText(fetch.begin_ms) + " because " +
                      ReasonWords(fetch.asked_because)) +
             Attempts(place);
    }
  }
  return "";
}

}  // namespace

std::string WhyWords::Last() const {
  Teller teller(history_);
  if (history_.answers.empty()) {
    return teller.WithoutAnswer();
  }
  SoFarWalk walk(history_);
  for (size_t i = 1; i < history_.answers.size(); ++i) {
    walk.Next();
  }
  const Answer& answer = history_.answers.back();
  std::string text = teller.Tell(answer, walk.Next(), false);
  if (const Run& newest = history_.runs.back(); answer.run + 1 < history_.runs.size()) {
    text += Sentence("The client has started again since then, at " +
                     TimeText(newest.begin_ms.value_or(newest.last_ms)) +
                     ", and has asked for no address") +
            teller.NewestFetch(answer.run + 1);
  }
  return text + teller.Limits();
}

std::string WhyWords::All() const {
  Teller teller(history_);
  if (history_.answers.empty()) {
    return teller.WithoutAnswer();
  }
  SoFarWalk walk(history_);
  std::string text;
  for (const Answer& answer : history_.answers) {
    text += teller.Tell(answer, walk.Next(), true);
  }
  return text + teller.Limits();
}

}  // namespace history
