#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/history/history.h"

namespace history {

// Counts of a history. A plain value. "Fetches" are those of the LBS service; `causes` and
// `second_passes` count all requests.
struct Stats {
  struct Url {
    size_t tries = 0;
    size_t wins = 0;
  };
  // The first document of a start.
  struct Cache {
    std::optional<int64_t> age_ms;  // since its fetch
    std::string refusal;            // why the settings counted; empty: the cache counted
  };
  size_t starts = 0;
  std::map<std::string, size_t> reasons;   // of fetches
  std::map<std::string, size_t> outcomes;  // of fetches
  std::map<size_t, size_t> tries;          // fetches by their number of tries
  std::map<std::string, Url> urls;         // of fetches, without their query
  std::map<std::string, size_t> causes;    // of failed tries; "unknown" if the log has none
  size_t second_passes = 0;
  size_t answers = 0;
  size_t defaults = 0;  // of the answers
  std::vector<Cache> caches;
};

Stats MakeStats(const History& history);

// Returns the counts in the form that `sturdyctl stats --help` describes.
nlohmann::ordered_json ToJson(const Stats& stats);

}  // namespace history
