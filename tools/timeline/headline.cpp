#include "tools/timeline/headline.h"

#include <algorithm>

#include "tools/history/try_words.h"

namespace timeline {

namespace {

using history::Document;
using history::Fetch;
using history::History;
using history::Try;

std::string UrlName(const Try& one) {
  return history::ShortUrl(one.url) + " (URL " + std::to_string(one.index) +
         (one.pass == 2 ? " of the second pass)" : ")");
}

// Returns why the answer didn't come from the first URL.
std::string WhyNotFirst(const Fetch& fetch) {
  const size_t taken = *fetch.taken;
  if (fetch.tries[taken].pass == 2) {
    return ", after all URLs of the first pass had failed";
  }
  if (taken == 0) {
    return "";
  }
  if (taken > 1) {
    return ", after " + std::to_string(taken) + " URLs before it had failed or been silent";
  }
  const Try& first = fetch.tries.front();
  return first.silent_ms ? ", after URL 0 had been silent for " +
                               std::to_string(*first.silent_ms - first.begin_ms) + " ms"
                         : ", after URL 0 had failed";
}

std::string FromFetch(const Document& document, const History& history) {
  if (!document.fetch || !history.fetches[*document.fetch].taken) {
    return "from the list that a server sent";
  }
  const Fetch& fetch = history.fetches[*document.fetch];
  return "from the list that " + UrlName(fetch.tries[*fetch.taken]) + " sent" + WhyNotFirst(fetch);
}

// Returns whether a fetch of a newer document has failed before the time. The order of the messages
// says whether it is newer, since a fetch can take less than a ms.
bool HasFailedSince(const Document& document, int64_t until_ms, const History& history) {
  for (const Fetch& fetch : history.fetches) {
    if (fetch.kind == history::Kind::kLbs && fetch.run == document.run &&
        fetch.outcome == history::FetchOutcome::kFailed && fetch.end_ms &&
        fetch.messages.front() > document.message && *fetch.end_ms <= until_ms) {
      return true;
    }
  }
  return false;
}

// Returns what is known of a client without an answer.
std::string WithoutAnswer(const History& history) {
  if (!history.runs.empty() && !history.runs.front().begin_ms) {
    return "The log has no answer to the client, but its begin is lost.";
  }
  const std::string text = "The client has asked for no address";
  const auto last = std::find_if(history.fetches.rbegin(), history.fetches.rend(),
                                 [](auto& fetch) { return fetch.kind == history::Kind::kLbs; });
  if (last == history.fetches.rend()) {
    return text + ", and has fetched no list.";
  }
  switch (last->outcome) {
    case history::FetchOutcome::kTaken:
      return text + "; its last fetch brought a list.";
    case history::FetchOutcome::kFailed:
      return text + "; its last fetch failed: no URL sent a list.";
    case history::FetchOutcome::kSuperseded:
      return text + "; the answer of its last fetch was ignored.";
    case history::FetchOutcome::kUnderWay:
      break;
  }
  return text + "; its last fetch has no end in the log.";
}

std::string Origin(const Document& document, const History& history) {
  switch (document.from) {
    case Document::From::kFetch:
      return FromFetch(document, history);
    case Document::From::kCache:
      return "from the list in the cache of an earlier run";
    case Document::From::kSettings:
      return "from the list of its settings";
    case Document::From::kUnknown:
      break;
  }
  return "from the list that was active";
}

}  // namespace

std::string Headline(const History& history) {
  if (history.answers.empty()) {
    return WithoutAnswer(history);
  }
  const history::Answer& answer = history.answers.back();
  std::string text = "The client got " + answer.host + ":" + std::to_string(answer.port);
  if (answer.is_default) {
    const bool is_empty = answer.document && history.documents[*answer.document].links.empty();
    text += is_empty ? ", a default, since its list is empty"
                     : ", a default, since the list has no server left to try";
  } else if (answer.document) {
    text += " " + Origin(history.documents[*answer.document], history);
  } else {
    text += " from a list of which the log doesn't say where it comes from";
  }
  if (answer.document &&
      HasFailedSince(history.documents[*answer.document], answer.at_ms, history)) {
    text += "; no URL has sent a newer list";
  }
  return text + ".";
}

}  // namespace timeline
