// Measures the time from the start of a process to its first link address, with the cache of an
// earlier run and without. Limit: the starts of four threads with a task loop, each of which waits
// for a millisecond.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <memory>
#include <sstream>
#include <string>

#include "base/thread/base_thread.h"
#include "bench/client_folder.h"
#include "bench/client_process.h"
#include "bench/units.h"
#include "lab/lab.h"
#include "lab/lbs_document.h"

namespace {

// The monotonic clock, which the client's process reads too.
long long NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Lets a client fetch a document once, so that the next one finds it.
void FillCache(const bench::ClientFolder& folder) {
  const lab::Lab lab({lab::HttpServer("good").On(
      "/lbs", lab::Answer(lab::LbsDocument()
                              .Link({"10.0.0.1:80", "10.0.0.2:80", "link.example.com:80"})
                              .LinkDefault({"10.0.0.9:80"})
                              .Lbs("${url:good}/lbs")
                              .Text()))});
  bench::ClientProcess({"fetch", folder.path(), lab.Url("good", "/lbs")}).Output();
}

// Whether the time includes what the system needs to load the program and its libraries.
enum class Begin { kProcess, kMain };

void StartToAddress(benchmark::State& state, bool is_cached, Begin begin) {
  double all_to_main_ns = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const bench::ClientFolder folder;
    if (is_cached) {
      FillCache(folder);
    }
    state.ResumeTiming();
    bench::ClientProcess client({"start", folder.path(), std::to_string(NowNs())});
    std::istringstream times(client.Output());
    double whole_ns = 0;
    double to_main_ns = 0;
    times >> whole_ns >> to_main_ns;
    all_to_main_ns += to_main_ns;
    state.SetIterationTime((begin == Begin::kMain ? whole_ns - to_main_ns : whole_ns) /
                           bench::kNsPerSecond);
  }
  state.counters["to_main_ns"] =
      benchmark::Counter(all_to_main_ns, benchmark::Counter::kAvgIterations);
}

BENCHMARK_CAPTURE(StartToAddress, cache, true, Begin::kProcess)
    ->Name("start/cache")
    ->UseManualTime()
    ->Iterations(10);
BENCHMARK_CAPTURE(StartToAddress, defaults, false, Begin::kProcess)
    ->Name("start/defaults")
    ->UseManualTime()
    ->Iterations(10);
BENCHMARK_CAPTURE(StartToAddress, cache_main, true, Begin::kMain)
    ->Name("start/cache_from_main")
    ->UseManualTime()
    ->Iterations(10);
BENCHMARK_CAPTURE(StartToAddress, defaults_main, false, Begin::kMain)
    ->Name("start/defaults_from_main")
    ->UseManualTime()
    ->Iterations(10);

// Starts them one after the other, as an environment does.
void FourThreads(benchmark::State& state) {
  constexpr std::array<const char*, 4> kNames = {"statistic", "http dns manager", "http_agent_work",
                                                 "lbs service"};
  for (auto _ : state) {
    std::array<std::shared_ptr<zo_base::BaseThread>, kNames.size()> threads;
    const long long begin_ns = NowNs();
    for (size_t i = 0; i < kNames.size(); ++i) {
      threads.at(i) = std::make_shared<zo_base::BaseThread>(kNames.at(i));
      threads.at(i)->Start();
    }
    state.SetIterationTime(static_cast<double>(NowNs() - begin_ns) / bench::kNsPerSecond);
    for (const auto& thread : threads) {
      thread->Stop();
    }
  }
}

BENCHMARK(FourThreads)->Name("start/four_threads")->UseManualTime()->Iterations(10);

}  // namespace
