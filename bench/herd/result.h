#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/herd/herd.h"
#include "bench/herd/scenario.h"

namespace herd {

// A number of several runs that differ only in their seed.
struct Spread {
  double mean = 0;
  double least = 0;
  double most = 0;
};

// What the runs of a scenario say.
struct Result {
  // Seconds until that share of all clients that want something has found it; less than 0 if one of
  // the runs never got there.
  Spread half, nine_tenths, ninety_nine, all;
  Spread found_share;          // of the same, at the end of the run
  Spread requests_per_client;  // at all LBS and HTTP DNS servers
  Spread wasted_share;         // of the good answers of the LBS servers: nobody used them
  std::vector<Spread> peak;    // by server: arrivals in its worst bin, as a share of the clients
  Spread worst;                // of these, the worst of an LBS or HTTP DNS server
  std::vector<Spread> load;    // by server: clients connected at the end, as a share
  std::vector<uint8_t> link;   // servers of the last list
  Counts first;                // of the first run, for its curves
};

Result Summarize(const Scenario& scenario, const std::vector<Counts>& runs);

// Returns the result, with its curves unless it belongs to a sweep:
// {"scenario", "description", "swept": texts, "clients", "seconds", "seeds", "bin_ms",
// "recovered_s": {"50", "90", "99", "100"}, "found_share", "requests_per_client", "wasted_share":
// each [mean, least, most], "servers": [{"name", "peak_share", "connected_share": the same,
// "arrivals": by bin}], "wanted": number, "found": by bin}
nlohmann::ordered_json ToJson(const Scenario& scenario, size_t seeds, const Result& result);

// Returns the head of the table of all scenarios, and one row of it.
std::string TableHead();
std::string TableRow(const Scenario& scenario, const Result& result);

}  // namespace herd
