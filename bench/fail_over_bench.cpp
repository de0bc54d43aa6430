// Measures a fetch whose first one to five URLs refuse, stay silent or answer 500, and whose last
// one is good. Limit: 2000 ms for each silent URL, nothing for the others. The time of a run is
// what the worst of its five fetches takes beyond that.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bench/client_folder.h"
#include "bench/client_process.h"
#include "bench/units.h"
#include "lab/lab.h"
#include "lab/lbs_document.h"

namespace {

constexpr size_t kMostUrls = 5;
constexpr double kSilentUrlNs = 2e9;

lab::Scenario ServersOf(const std::string& kind) {
  lab::Scenario scenario{
      lab::HttpServer("good").On("/lbs", lab::Answer(lab::LbsDocument()
                                                         .Link({"10.0.0.1:80"})
                                                         .LinkDefault({"10.0.0.9:80"})
                                                         .Lbs("${url:good}/lbs")
                                                         .Text()))};
  for (size_t i = 0; i < kMostUrls; ++i) {
    lab::Server bad = lab::HttpServer("bad" + std::to_string(i));
    if (kind == "refuse") {
      bad.Listens(lab::Listening::kRefuse);
    } else if (kind == "silent") {
      bad.On("/lbs", lab::Silent());
    } else {
      bad.On("/lbs", lab::Answer(500));
    }
    scenario.servers.push_back(bad);
  }
  return scenario;
}

// Runs the fetches with silent URLs at once, since they mostly wait, and the others one by one.
void FailOver(benchmark::State& state, const std::string& kind) {
  const double rule_ns = kind == "silent" ? kSilentUrlNs : 0;
  const lab::Lab lab(ServersOf(kind));
  for (auto _ : state) {
    std::vector<std::unique_ptr<bench::ClientFolder>> folders;
    std::vector<std::unique_ptr<bench::ClientProcess>> clients;
    // Start a client for each number of bad URLs.
    std::vector<double> took;  // nanoseconds; 0 while the client runs
    for (size_t bad_count = 1; bad_count <= kMostUrls; ++bad_count) {
      folders.push_back(std::make_unique<bench::ClientFolder>());
      std::vector<std::string> arguments = {"fetch", folders.back()->path()};
      for (size_t i = 0; i < bad_count; ++i) {
        arguments.push_back(lab.Url("bad" + std::to_string(i), "/lbs"));
      }
      arguments.push_back(lab.Url("good", "/lbs"));
      clients.push_back(std::make_unique<bench::ClientProcess>(arguments));
      took.push_back(kind == "silent" ? 0 : std::stod(clients.back()->Output()));
    }
    // Find the worst.
    double worst_ns = 0;
    for (size_t i = 0; i < kMostUrls; ++i) {
      const double took_ns = took[i] > 0 ? took[i] : std::stod(clients[i]->Output());
      worst_ns = std::max(worst_ns, took_ns - rule_ns * static_cast<double>(i + 1));
    }
    state.SetIterationTime(worst_ns / bench::kNsPerSecond);
  }
}

BENCHMARK_CAPTURE(FailOver, refuse, "refuse")
    ->Name("fail-over/refuse")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(FailOver, silent, "silent")
    ->Name("fail-over/silent")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(FailOver, status, "500")->Name("fail-over/500")->UseManualTime()->Iterations(1);

}  // namespace
