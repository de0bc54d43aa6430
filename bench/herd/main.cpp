// Simulates a herd of clients that want the same thing at once. See docs/herd.md.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/herd/herd.h"
#include "bench/herd/result.h"
#include "bench/herd/scenario.h"
#include "lab/scenario.h"

namespace herd {
namespace {

struct Options {
  std::vector<std::string> files;
  uint32_t clients = 100000;
  int seconds = 0;  // 0: those of the scenario
  size_t seeds = 5;
  std::string output;
};

// Runs each scenario with each seed, as many at once as there are processors.
std::vector<std::vector<Counts>> RunSeeds(const std::vector<Scenario>& scenarios, size_t seeds) {
  std::vector<std::vector<Counts>> runs(scenarios.size(), std::vector<Counts>(seeds));
  std::atomic<size_t> next = 0;
  const auto work = [&] {
    for (size_t i = next++; i < scenarios.size() * seeds; i = next++) {
      runs[i / seeds][i % seeds] = Herd(scenarios[i / seeds], i % seeds + 1).Run();
    }
  };
  std::vector<std::future<void>> workers(std::max(1U, std::thread::hardware_concurrency()));
  for (std::future<void>& worker : workers) {
    worker = std::async(std::launch::async, work);
  }
  for (std::future<void>& worker : workers) {
    worker.get();
  }
  return runs;
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  if (!(file << text << std::flush)) {
    throw std::runtime_error(path.string() + " can't be written.");
  }
}

// Runs a file and returns its rows of the table. A sweep has many runs and shows ratios only, so it
// takes a tenth of the clients, and one seed.
std::string RunFile(const std::string& path, const Options& options) {
  constexpr uint32_t kSweepDivisor = 10;
  std::vector<Scenario> scenarios = ReadScenarios(path);
  const bool swept = !scenarios.front().swept.empty();
  const size_t seeds = swept ? 1 : options.seeds;
  for (Scenario& scenario : scenarios) {
    scenario.Scale(swept ? std::max(1U, options.clients / kSweepDivisor) : options.clients);
    scenario.seconds = options.seconds > 0 ? options.seconds : scenario.seconds;
  }
  const std::vector<std::vector<Counts>> runs = RunSeeds(scenarios, seeds);
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  std::string rows;
  for (size_t i = 0; i < scenarios.size(); ++i) {
    const Result result = Summarize(scenarios[i], runs[i]);
    rows += TableRow(scenarios[i], result);
    json.push_back(ToJson(scenarios[i], seeds, result));
  }
  if (!options.output.empty()) {
    WriteFile(std::filesystem::path(options.output) / (scenarios.front().name + ".json"),
              (swept ? json : json.front()).dump() + "\n");
  }
  return rows;
}

void RunAll(const Options& options) {
  using Clock = std::chrono::steady_clock;
  std::string table = TableHead();
  for (size_t i = 0; i < options.files.size(); ++i) {
    std::fprintf(stderr, "[%zu/%zu] %s ...", i + 1, options.files.size(), options.files[i].c_str());
    const auto begin = Clock::now();
    table += RunFile(options.files[i], options);
    std::fprintf(stderr, " %.1f s\n", std::chrono::duration<double>(Clock::now() - begin).count());
  }
  std::cout << table;
}

}  // namespace
}  // namespace herd

int main(int argc, char** argv) try {
  herd::Options options;
  CLI::App app("Simulates many clients that want a list, or a link server, at once");
  app.add_option("scenario", options.files, "JSON files, see docs/herd.md")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("--clients", options.clients,
                 "Clients of each run; the servers change in the same ratio")
      ->check(CLI::Range(1, 4000000));
  app.add_option("--seconds", options.seconds, "Simulated time, in place of the scenario's")
      ->check(CLI::Range(1, herd::kMostSeconds));
  app.add_option("--seeds", options.seeds, "Runs of each scenario, which differ in their seed")
      ->check(CLI::Range(1, 100));
  app.add_option("--output", options.output, "Folder for one JSON file per scenario")
      ->check(CLI::ExistingDirectory);
  CLI11_PARSE(app, argc, argv);
  herd::RunAll(options);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "herd: %s\n", error.what());
  return 1;
}
