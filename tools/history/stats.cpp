#include "tools/history/stats.h"

#include "tools/history/try_words.h"

namespace history {

namespace {

using Json = nlohmann::ordered_json;

void CountFetch(const Fetch& fetch, Stats& stats) {
  ++stats.reasons[TextOf(fetch.asked_because)];
  ++stats.outcomes[TextOf(fetch.outcome)];
  ++stats.tries[fetch.tries.size()];
  for (const Try& one : fetch.tries) {
    Stats::Url& url = stats.urls[ShortUrl(one.url)];
    ++url.tries;
    url.wins += one.outcome == TryOutcome::kTaken ? 1 : 0;
  }
}

void CountTries(const Fetch& fetch, Stats& stats) {
  bool has_second_pass = false;
  for (const Try& one : fetch.tries) {
    has_second_pass = has_second_pass || one.pass > 1;
    if (one.outcome == TryOutcome::kFailed || !one.cause.empty()) {
      ++stats.causes[one.cause.empty() ? "unknown" : one.cause];
    }
  }
  stats.second_passes += has_second_pass ? 1 : 0;
}

}  // namespace

Stats MakeStats(const History& history) {
  Stats stats;
  for (const Run& run : history.runs) {
    stats.starts += run.begin_ms ? 1 : 0;
  }
  for (const Fetch& fetch : history.fetches) {
    if (fetch.kind == Kind::kLbs) {
      CountFetch(fetch, stats);
    }
    CountTries(fetch, stats);
  }
  stats.answers = history.answers.size();
  for (const Answer& answer : history.answers) {
    stats.defaults += answer.is_default ? 1 : 0;
  }
  for (const Document& document : history.documents) {
    if (document.from == Document::From::kCache || document.from == Document::From::kSettings) {
      stats.caches.push_back({document.cache_age_ms, document.cache_refusal});
    }
  }
  return stats;
}

Json ToJson(const Stats& stats) {
  Json json = {{"starts", stats.starts},
               {"fetches", {{"by_reason", stats.reasons}, {"by_outcome", stats.outcomes}}},
               {"tries_per_fetch", Json::object()},
               {"urls", Json::array()},
               {"causes", stats.causes},
               {"second_passes", stats.second_passes},
               {"answers", stats.answers},
               {"defaults", stats.defaults},
               {"caches", Json::array()}};
  for (const auto& [tries, fetches] : stats.tries) {
    json["tries_per_fetch"][std::to_string(tries)] = fetches;
  }
  for (const auto& [url, counts] : stats.urls) {
    json["urls"].push_back({{"url", url}, {"tries", counts.tries}, {"wins", counts.wins}});
  }
  for (const Stats::Cache& cache : stats.caches) {
    Json one = {{"age_ms", nullptr}, {"refusal", cache.refusal}};
    if (cache.age_ms) {
      one["age_ms"] = *cache.age_ms;
    }
    json["caches"].push_back(one);
  }
  return json;
}

}  // namespace history
