// Compares the simulation with real clients in one scenario. docs/herd.md has the result.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "bench/herd/herd.h"
#include "bench/herd/real_clients.h"
#include "bench/herd/result.h"
#include "bench/herd/scenario.h"

namespace herd {
namespace {

// The fewest for which the scenario's servers keep a queue of two requests. An answer then takes at
// most 1.5 s, which leaves half a second until the clients give up.
constexpr uint32_t kClients = 200;
constexpr size_t kSimulatedRuns = 200;
constexpr double kTolerance = 0.1;
constexpr size_t kSecondsPerColumn = 10;
constexpr size_t kColumns = 9;

// How many of something have happened by the end of each bin: a mean over runs, per client.
using Curve = std::vector<double>;
// Returns what a run has counted of something, by bin.
using Bins = std::function<const std::vector<uint32_t>&(const Counts&)>;

Curve Pool(const std::vector<Counts>& runs, const Bins& bins) {
  Curve curve(bins(runs.front()).size());
  for (const Counts& run : runs) {
    double sum = 0;
    for (size_t bin = 0; bin < curve.size(); ++bin) {
      sum += bins(run)[bin];
      curve[bin] += sum / kClients / static_cast<double>(runs.size());
    }
  }
  return curve;
}

// Returns the largest distance between two curves, as a share of the height of the second.
double Distance(const Curve& one, const Curve& other) {
  double most = 0;
  for (size_t bin = 0; bin < one.size(); ++bin) {
    most = std::max(most, std::abs(one[bin] - other[bin]));
  }
  return most / other.back();
}

// Something that real and simulated clients have done.
struct Comparison {
  std::string name;
  Curve real;
  Curve simulated;
  double distance;
  double by_chance;  // that of simulated runs, as many as real ones: 19 of 20 times it is less
};

Comparison Compare(const std::string& name, const std::vector<Counts>& real,
                   const std::vector<Counts>& simulated, const Bins& bins) {
  const Curve all = Pool(simulated, bins);
  std::vector<double> distances;
  for (size_t i = 0; i + real.size() <= simulated.size(); i += real.size()) {
    const auto begin = simulated.begin() + static_cast<std::ptrdiff_t>(i);
    const auto end = begin + static_cast<std::ptrdiff_t>(real.size());
    distances.push_back(Distance(Pool({begin, end}, bins), all));
  }
  std::sort(distances.begin(), distances.end());
  const Curve of_real = Pool(real, bins);
  return {name, of_real, all, Distance(of_real, all), distances[distances.size() * 19 / 20]};
}

void PrintSpread(const char* name, const Spread& real, const Spread& simulated) {
  std::printf("| %s | %.1f (%.1f to %.1f) | %.1f |\n", name, real.mean, real.least, real.most,
              simulated.mean);
}

void PrintSummary(const Result& real, const Result& simulated) {
  std::printf("| | real clients | simulated |\n|---|---|---|\n");
  PrintSpread("half are connected after, s", real.half, simulated.half);
  PrintSpread("90 % are connected after, s", real.nine_tenths, simulated.nine_tenths);
  PrintSpread("requests per client", real.requests_per_client, simulated.requests_per_client);
}

void PrintHead() {
  std::string line = "|---|---|---|";
  std::printf("\n| per 100 clients, real / simulated |");
  for (size_t column = 1; column <= kColumns; ++column) {
    std::printf(" %zu s |", column * kSecondsPerColumn);
    line += "---|";
  }
  std::printf(" largest distance | by chance |\n%s\n", line.c_str());
}

// Prints how much has happened in the time of each column, which ends then.
void PrintRow(const Comparison& one) {
  constexpr double kPercent = 100;
  constexpr size_t kBins = kSecondsPerColumn * kMsPerSecond / kBinMs;
  const auto in_column = [](const Curve& curve, size_t column) {
    const double before = column == 0 ? 0 : curve[column * kBins - 1];
    return kPercent * (curve[(column + 1) * kBins - 1] - before);
  };
  std::printf("| %s |", one.name.c_str());
  for (size_t column = 0; column < kColumns; ++column) {
    std::printf(" %.0f / %.0f |", in_column(one.real, column), in_column(one.simulated, column));
  }
  std::printf(" %.1f %% | %.1f %% |\n", kPercent * one.distance, kPercent * one.by_chance);
}

std::vector<Counts> PlayReal(const Scenario& scenario, const std::string& program, size_t count) {
  using Clock = std::chrono::steady_clock;
  std::vector<Counts> runs;
  while (runs.size() < count) {
    std::fprintf(stderr, "[%zu/%zu] %u clients ...", runs.size() + 1, count, kClients);
    const auto begin = Clock::now();
    runs.push_back(PlayWithRealClients(scenario, program));
    std::fprintf(stderr, " %.0f s\n", std::chrono::duration<double>(Clock::now() - begin).count());
  }
  return runs;
}

// Returns whether all curves agree.
bool Calibrate(const std::string& file, const std::string& program, size_t count) {
  Scenario scenario = ReadScenarios(file).front();
  scenario.Scale(kClients);
  scenario.network = {.median_ms = 1, .sigma = 0};  // loopback
  const std::vector<Counts> real = PlayReal(scenario, program, count);
  std::vector<Counts> simulated;
  while (simulated.size() < kSimulatedRuns) {
    simulated.push_back(Herd(scenario, simulated.size() + 1).Run());
  }
  std::vector<Comparison> all = {Compare(
      "clients that connected", real, simulated,
      [](const Counts& run) -> auto& { return run.got; })};
  for (const uint8_t place : scenario.documents.back().lbs) {
    all.push_back(Compare(
        "requests at " + scenario.servers[place].name, real,
        simulated, [place](const Counts& run) -> auto& { return run.arrivals[place]; }));
  }
  PrintSummary(Summarize(scenario, real), Summarize(scenario, simulated));
  PrintHead();
  std::for_each(all.begin(), all.end(), PrintRow);
  return std::all_of(all.begin(), all.end(),
                     [](const Comparison& one) { return one.distance <= kTolerance; });
}

}  // namespace
}  // namespace herd

int main(int argc, char** argv) try {
  std::string file;
  std::string program;
  size_t runs = 1;
  CLI::App app("Compares the simulation of many clients with real ones");
  app.add_option("scenario", file, "JSON file, see docs/herd.md")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("client", program, "Program of a client: LBS_URL FOLDER")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("--runs", runs, "Runs of the real clients")->check(CLI::Range(1, 50));
  CLI11_PARSE(app, argc, argv);
  if (!herd::Calibrate(file, program, runs)) {
    std::fprintf(stderr, "herd_calibrate: a curve differs by more than 10 %%\n");
    return 1;
  }
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "herd_calibrate: %s\n", error.what());
  return 1;
}
