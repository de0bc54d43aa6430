// Simulates a herd of clients that want the same thing at once. See docs/herd.md.
#include <CLI/CLI.hpp>
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
  size_t seeds = 5;
  std::string output;
};

// Runs the seeds, as many at once as there are processors.
std::vector<Counts> RunSeeds(const Scenario& scenario, size_t seeds) {
  const size_t at_once = std::max(1U, std::thread::hardware_concurrency());
  std::vector<Counts> runs;
  for (size_t first = 0; first < seeds; first += at_once) {
    std::vector<std::future<Counts>> running;
    for (size_t seed = first; seed < std::min(seeds, first + at_once); ++seed) {
      running.push_back(std::async(std::launch::async,
                                   [&scenario, seed] { return Herd(scenario, seed + 1).Run(); }));
    }
    for (std::future<Counts>& one : running) {
      runs.push_back(one.get());
    }
  }
  return runs;
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  if (!(file << text << std::flush)) {
    throw std::runtime_error(path.string() + " can't be written.");
  }
}

void RunAll(const Options& options) {
  using Clock = std::chrono::steady_clock;
  std::string table = TableHead();
  for (size_t i = 0; i < options.files.size(); ++i) {
    Scenario scenario = ReadScenario(options.files[i]);
    scenario.Scale(options.clients);
    std::fprintf(stderr, "[%zu/%zu] %s ...", i + 1, options.files.size(), scenario.name.c_str());
    const auto begin = Clock::now();
    const Result result = Summarize(scenario, RunSeeds(scenario, options.seeds));
    std::fprintf(stderr, " %.1f s\n", std::chrono::duration<double>(Clock::now() - begin).count());
    table += TableRow(scenario.name, result);
    if (!options.output.empty()) {
      WriteFile(std::filesystem::path(options.output) / (scenario.name + ".json"),
                ToJson(scenario, options.seeds, result).dump() + "\n");
    }
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
                 "Clients of each run; the servers' rates and queues change in the same ratio")
      ->check(CLI::Range(1, 4000000));
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
