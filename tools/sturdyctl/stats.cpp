#include "tools/history/stats.h"

#include <cstdio>
#include <string>

#include "tools/duration_words.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/read_client.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

std::string Line(const char* label, const std::string& text) {
  std::string line(label);
  line.resize(22, ' ');
  return line + text + "\n";
}

// Returns "start: 2, token: 1".
template <class Key, class Text>
std::string CountWords(const std::map<Key, size_t>& counts, const Text& text_of) {
  std::string words;
  for (const auto& [key, count] : counts) {
    words += (words.empty() ? "" : ", ") + text_of(key) + ": " + std::to_string(count);
  }
  return words.empty() ? "none" : words;
}

std::string CacheWords(const history::Stats::Cache& cache) {
  if (!cache.refusal.empty()) {
    return "not used, " + cache.refusal;
  }
  return cache.age_ms ? DurationWords(*cache.age_ms) + " old" : "never fetched";
}

std::string StatsWords(const history::Stats& stats) {
  const auto same = [](const std::string& text) { return text; };
  const auto tries = [](size_t count) {
    return std::to_string(count) + (count == 1 ? " try" : " tries");
  };
  std::string words = Line("starts", std::to_string(stats.starts)) +
                      Line("fetches, reason", CountWords(stats.reasons, same)) +
                      Line("fetches, outcome", CountWords(stats.outcomes, same)) +
                      Line("fetches, tries", CountWords(stats.tries, tries)) +
                      Line("causes, all requests", CountWords(stats.causes, same)) +
                      Line("second passes", std::to_string(stats.second_passes)) +
                      Line("answers", std::to_string(stats.answers) + ", " +
                                          std::to_string(stats.defaults) + " of them a default");
  for (const auto& [url, counts] : stats.urls) {
    words += Line("URL", url + "  tries " + std::to_string(counts.tries) + ", wins " +
                             std::to_string(counts.wins));
  }
  for (const history::Stats::Cache& cache : stats.caches) {
    words += Line("cache at a start", CacheWords(cache));
  }
  return words;
}

}  // namespace

int RunStats(const StatsOptions& options) {
  const history::Stats stats =
      history::MakeStats(ReadClient(FindLog(options.folder), options.redact));
  const std::string text =
      options.json ? JsonText(history::ToJson(stats), 2) + "\n" : StatsWords(stats);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return kExitOk;
}

}  // namespace sturdyctl
