// A good list after one to five URLs that refuse, stay silent or answer 500. Limit: 2000 ms for
// each silent one and nothing for the others. The time is what the worst of the five takes beyond
// that.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bench/client_folder.h"
#include "bench/client_process.h"
#include "lab/lab.h"
#include "lab/lbs_document.h"

namespace {

constexpr size_t kMostUrls = 5;
constexpr double kNsPerSecond = 1e9;
constexpr double kSilentUrlNs = 2e9;

lab::Scenario ServersBehind(const std::string& kind) {
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

// Silent ones run beside each other, as most of their time is waiting; the others one by one.
void FetchBehind(benchmark::State& state, const std::string& kind) {
  const double rule_ns = kind == "silent" ? kSilentUrlNs : 0;
  const lab::Lab lab(ServersBehind(kind));
  for (auto _ : state) {
    std::vector<std::unique_ptr<bench::ClientFolder>> folders;
    std::vector<std::unique_ptr<bench::ClientProcess>> clients;
    std::vector<double> took;  // 0 while it runs
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
    double worst_ns = 0;
    for (size_t i = 0; i < kMostUrls; ++i) {
      const double took_ns = took[i] > 0 ? took[i] : std::stod(clients[i]->Output());
      worst_ns = std::max(worst_ns, took_ns - rule_ns * static_cast<double>(i + 1));
    }
    state.SetIterationTime(worst_ns / kNsPerSecond);
  }
}

BENCHMARK_CAPTURE(FetchBehind, refuse, "refuse")
    ->Name("fail-over/refuse")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(FetchBehind, silent, "silent")
    ->Name("fail-over/silent")
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK_CAPTURE(FetchBehind, status, "500")
    ->Name("fail-over/500")
    ->UseManualTime()
    ->Iterations(1);

}  // namespace
