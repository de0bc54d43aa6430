#include "bench/herd/result.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <numeric>
#include <set>

namespace herd {

namespace {

constexpr double kBinsPerSecond = 1000.0 / kBinMs;
constexpr double kNever = -1;

Spread Of(const std::vector<Counts>& runs, const std::function<double(const Counts&)>& value) {
  std::vector<double> values(runs.size());
  std::transform(runs.begin(), runs.end(), values.begin(), value);
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  const double mean =
      std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
  return {*least < 0 ? kNever : mean, *least, *most};
}

template <class Number>
double Sum(const std::vector<Number>& numbers) {
  return std::accumulate(numbers.begin(), numbers.end(), 0.0);
}

// At least 1, so that a share of it is a number.
double Wanted(const Counts& run) {
  return std::max(1.0, static_cast<double>(run.wanted));
}

// Returns the seconds after which `share` of all that wanted something had found it.
double SecondsUntil(const Counts& run, double share) {
  double found = 0;
  for (size_t bin = 0; bin < run.got.size(); ++bin) {
    found += run.got[bin];
    if (found >= share * Wanted(run)) {
      return static_cast<double>(bin + 1) / kBinsPerSecond;
    }
  }
  return kNever;
}

// Returns the servers that the lists name.
std::set<uint8_t> LbsServers(const Scenario& scenario) {
  std::set<uint8_t> servers(scenario.names.addresses.begin(), scenario.names.addresses.end());
  for (const Document& document : scenario.documents) {
    servers.insert(document.lbs.begin(), document.lbs.end());
  }
  return servers;
}

nlohmann::ordered_json Numbers(const Spread& spread) {
  return {spread.mean, spread.least, spread.most};
}

std::string Text(double number, int digits) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.*f", digits, number);
  return text.data();
}

std::string Cell(const Spread& spread, int digits, const std::string& unit = "") {
  if (spread.mean < 0) {
    return "never";
  }
  const std::string mean = Text(spread.mean, digits);
  const std::string least = Text(spread.least, digits);
  const std::string most = Text(spread.most, digits);
  return (least == most ? mean + unit : mean + unit + " (" + least + " to " + most + ")");
}

}  // namespace

Result Summarize(const Scenario& scenario, const std::vector<Counts>& runs) {
  const double clients = scenario.clients;
  const std::set<uint8_t> lbs = LbsServers(scenario);
  std::set<uint8_t> asked = lbs;
  asked.insert(scenario.names.endpoints.begin(), scenario.names.endpoints.end());
  const auto until = [&](double share) {
    return Of(runs, [&](const Counts& run) { return SecondsUntil(run, share); });
  };
  constexpr double kHalf = 0.5;
  constexpr double kNineTenths = 0.9;
  constexpr double kNinetyNine = 0.99;
  Result result;
  result.half = until(kHalf);
  result.nine_tenths = until(kNineTenths);
  result.ninety_nine = until(kNinetyNine);
  result.all = until(1);
  result.found_share = Of(runs, [](const Counts& run) { return Sum(run.got) / Wanted(run); });
  result.requests_per_client = Of(runs, [&](const Counts& run) {
    double requests = 0;
    for (const uint8_t server : asked) {
      requests += Sum(run.arrivals[server]);
    }
    return requests / clients;
  });
  result.wasted_share = Of(runs, [&](const Counts& run) {
    double answers = 0;
    for (const uint8_t server : lbs) {
      answers += static_cast<double>(run.answers[server]);
    }
    return answers > 0 ? 1 - static_cast<double>(run.lists_taken) / answers : 0;
  });
  for (size_t i = 0; i < scenario.servers.size(); ++i) {
    result.peak.push_back(Of(runs, [&](const Counts& run) {
      const std::vector<uint32_t>& bins = run.arrivals[i];
      return *std::max_element(bins.begin(), bins.end()) / clients;
    }));
    if (asked.count(static_cast<uint8_t>(i)) > 0 && result.peak[i].mean > result.worst.mean) {
      result.worst = result.peak[i];
    }
    result.load.push_back(Of(runs, [&](const Counts& run) { return run.connected[i] / clients; }));
  }
  result.link = scenario.documents.back().link;
  result.first = runs.front();
  return result;
}

nlohmann::ordered_json ToJson(const Scenario& scenario, size_t seeds, const Result& result) {
  nlohmann::ordered_json json = {{"scenario", scenario.name},
                                 {"description", scenario.description},
                                 {"swept", scenario.swept},
                                 {"clients", scenario.clients},
                                 {"seconds", scenario.seconds},
                                 {"seeds", seeds},
                                 {"bin_ms", kBinMs},
                                 {"recovered_s",
                                  {{"50", Numbers(result.half)},
                                   {"90", Numbers(result.nine_tenths)},
                                   {"99", Numbers(result.ninety_nine)},
                                   {"100", Numbers(result.all)}}},
                                 {"found_share", Numbers(result.found_share)},
                                 {"requests_per_client", Numbers(result.requests_per_client)},
                                 {"wasted_share", Numbers(result.wasted_share)}};
  if (!scenario.swept.empty()) {
    return json;
  }
  json["servers"] = nlohmann::ordered_json::array();
  for (size_t i = 0; i < scenario.servers.size(); ++i) {
    json["servers"].push_back({{"name", scenario.servers[i].name},
                               {"peak_share", Numbers(result.peak[i])},
                               {"connected_share", Numbers(result.load[i])},
                               {"arrivals", result.first.arrivals[i]}});
  }
  json["wanted"] = result.first.wanted;
  json["found"] = result.first.got;
  return json;
}

std::string TableHead() {
  return "| scenario | 50 % after | 90 % | 99 % | all | found at the end | requests per client | "
         "wasted answers | worst 100 ms at one URL, share of all | at each link server of the last "
         "list |\n|---|---|---|---|---|---|---|---|---|---|\n";
}

std::string TableRow(const Scenario& scenario, const Result& result) {
  constexpr double kPercent = 100;
  const auto percent = [](const Spread& share) {
    return Spread{share.mean * kPercent, share.least * kPercent, share.most * kPercent};
  };
  std::string row = "| " + scenario.name;
  for (const std::string& value : scenario.swept) {
    row += " " + value;
  }
  for (const Spread* time : {&result.half, &result.nine_tenths, &result.ninety_nine, &result.all}) {
    row += " | " + Cell(*time, 1, " s");
  }
  std::string load;
  for (const uint8_t server : result.link) {
    load += (load.empty() ? "" : ", ") + Cell(percent(result.load[server]), 0, " %");
  }
  return row + " | " + Cell(percent(result.found_share), 1, " %") + " | " +
         Cell(result.requests_per_client, 2) + " | " + Cell(percent(result.wasted_share), 1, " %") +
         " | " + Cell(percent(result.worst), 1, " %") + " | " + load + " |\n";
}

}  // namespace herd
