// Measures one log line, with its share of the buffer's flushes and of the file's cuts. Peer:
// spdlog's basic_file_sink_mt, unflushed, and flushed at each line, as its lines need it to survive
// a SIGKILL.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <string>

#include "base/log/log.h"
#include "base/process/at_exit.h"
#include "bench/disk_folder.h"
#include "lab/temp_folder.h"

namespace {

const std::string kHost = "link-17.example.com";

// Returns a folder on the disk (0) or in memory (1). The difference is the wait for the disk.
lab::TempFolder FolderOf(const benchmark::State& state) {
  return lab::TempFolder(state.range(0) == 0 ? bench::DiskFolder() : "/dev/shm");
}

void LogOurs(benchmark::State& state) {
  const lab::TempFolder folder = FolderOf(state);
  // Keeps the logger alive, as an environment does.
  const auto at_exit = zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  auto* const logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
  logger->Close();
  logger->SetLogFile(folder.File("sturdy_comp.log"), 0, 0);
  logger->SetLevel(zo_base::LV_APP);
  int port = 0;
  for (auto _ : state) {
    ZO_LOG(LV_APP) << "[lbs] Get link address " << kHost << ":" << ++port
                   << " use default:" << false;
  }
  logger->Close();
}

void LogSpdlog(benchmark::State& state, bool is_flushed) {
  const lab::TempFolder folder = FolderOf(state);
  const auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(folder.File("spdlog.log"));
  spdlog::logger logger("lbs", sink);
  if (is_flushed) {
    logger.flush_on(spdlog::level::info);
  }
  int port = 0;
  for (auto _ : state) {
    logger.info("[lbs] Get link address {}:{} use default:{}", kHost, ++port, false);
  }
}

BENCHMARK(LogOurs)->Name("log/ours")->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK_CAPTURE(LogSpdlog, flushed, true)
    ->Name("log/spdlog_flushed")
    ->Arg(0)
    ->Arg(1)
    ->UseRealTime();
BENCHMARK_CAPTURE(LogSpdlog, unflushed, false)->Name("log/spdlog")->Arg(0)->Arg(1)->UseRealTime();

}  // namespace
