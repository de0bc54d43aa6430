#include "tools/history/history_json.h"

namespace history {

namespace {

using Json = nlohmann::ordered_json;

// Tries count from the begin of their fetch.
Json ToJson(const Try& one, const Fetch& fetch) {
  Json json = {{"index", one.index},
               {"url", one.url},
               {"pass", one.pass},
               {"begin_ms", one.begin_ms - fetch.begin_ms},
               {"end_ms", nullptr},
               {"outcome", TextOf(one.outcome)},
               {"status", one.status},
               {"cause", one.cause},
               {"started_because", TextOf(one.started_because)}};
  if (one.end_ms) {
    json["end_ms"] = *one.end_ms - fetch.begin_ms;
  }
  if (one.silent_ms) {
    json["silent_ms"] = *one.silent_ms - fetch.begin_ms;
  }
  if (one.is_unsure) {
    json["unsure"] = true;
  }
  return json;
}

}  // namespace

Json ToJson(const Fetch& fetch, size_t id) {
  Json json = {{"id", id},
               {"kind", TextOf(fetch.kind)},
               {"asked_because", TextOf(fetch.asked_because)},
               {"begin", TimeText(fetch.begin_ms)},
               {"end", nullptr},
               {"outcome", TextOf(fetch.outcome)},
               {"taken_from", nullptr},
               {"tries", Json::array()}};
  if (fetch.end_ms && fetch.outcome != FetchOutcome::kUnderWay) {
    json["end"] = TimeText(*fetch.end_ms);
  }
  if (fetch.taken) {
    const Try& taken = fetch.tries.at(*fetch.taken);
    json["taken_from"] = {{"index", taken.index}, {"url", taken.url}, {"pass", taken.pass}};
  }
  for (const Try& one : fetch.tries) {
    json["tries"].push_back(ToJson(one, fetch));
  }
  return json;
}

Json ToJson(const Answer& answer, const History& history) {
  Json json = {{"time", TimeText(answer.at_ms)},
               {"host", answer.host},
               {"port", answer.port},
               {"source", answer.is_default ? "default" : "list"},
               {"document", nullptr}};
  if (answer.document) {
    const Document& document = history.documents.at(*answer.document);
    json["document"] = {{"from", nullptr}, {"fetch", nullptr}};
    if (document.from != Document::From::kUnknown) {
      json["document"]["from"] = TextOf(document.from);
    }
    if (document.fetch) {
      json["document"]["fetch"] = *document.fetch;
    }
  }
  return json;
}

Json ToJson(const History& history) {
  Json json = {{"fetches", Json::array()}, {"answers", Json::array()}};
  for (size_t id = 0; id < history.fetches.size(); ++id) {
    json["fetches"].push_back(ToJson(history.fetches[id], id));
  }
  for (const Answer& answer : history.answers) {
    json["answers"].push_back(ToJson(answer, history));
  }
  return json;
}

}  // namespace history
