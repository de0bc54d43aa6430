// Measures how long a log of 8 MiB, the most that a client keeps, takes to become a page and to be
// drawn by Chromium. Limit: 3 s.
#include <benchmark/benchmark.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/client_folder.h"
#include "bench/client_process.h"
#include "bench/disk_folder.h"
#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "lab/temp_folder.h"
#include "tools/history/calendar.h"
#include "tools/history/read_history.h"
#include "tools/log_reader/log_reader.h"
#include "tools/timeline/page.h"

namespace {

constexpr size_t kLogBytes = size_t{8} << 20;
constexpr int64_t kLifeMs = 30000;  // from one copy of the client's life to the next
constexpr double kMsPerSecond = 1000;

// Returns the log of a client whose first URL answers 500, whose second is silent, and whose third
// has a document.
std::vector<log_reader::LogMessage> LifeOfAClient() {
  const lab::Lab lab(
      {lab::HttpServer("broken").On("/lbs", lab::Answer(500)),
       lab::HttpServer("silent").On("/lbs", lab::Silent()),
       lab::HttpServer("good").On("/lbs", lab::Answer(lab::LbsDocument()
                                                          .Link({"10.0.0.1:80"})
                                                          .LinkDefault({"10.0.0.9:80"})
                                                          .Lbs("${url:broken}/lbs")
                                                          .Text()))});
  const bench::ClientFolder folder;
  bench::ClientProcess({"fetch", folder.path(), lab.Url("broken", "/lbs"),
                        lab.Url("silent", "/lbs"), lab.Url("good", "/lbs")})
      .Output();
  return log_reader::LogReader(lab::DataFolder(folder.path()) + "sturdy_comp.log")
      .ReadNewMessages();
}

// Returns a log of many such lives, one after the other.
std::string LongLog() {
  const std::vector<log_reader::LogMessage> life = LifeOfAClient();
  std::string log;
  for (int64_t begin_ms = 0; log.size() < kLogBytes; begin_ms += kLifeMs) {
    history::Calendar calendar;
    for (const log_reader::LogMessage& message : life) {
      if (!message.time.empty()) {
        log += history::TimeText(calendar.ToMs(message.time) + begin_ms) +
               message.bytes.substr(message.time.size());
      }
    }
  }
  return log;
}

// Returns how long the browser took from the begin of its loading to the drawn page.
double DrawingMs(const std::string& page, const std::string& profile) {
  lab::Child browser({"/usr/bin/chromium", "--headless", "--no-sandbox", "--disable-gpu",
                      "--disable-dev-shm-usage", "--user-data-dir=" + profile, "--dump-dom",
                      "file://" + page});
  const std::string output = browser.ReadRest();
  const std::string mark = "data-drawn-ms=\"";
  const size_t at = output.find(mark);
  if (browser.Wait() != 0 || at == std::string::npos) {
    throw std::runtime_error("Chromium hasn't drawn the page: " + output.substr(0, 2000));
  }
  return std::stod(output.substr(at + mark.size(), 16));
}

void DrawTimeline(benchmark::State& state) {
  static const auto* const log = new std::string(LongLog());
  const lab::TempFolder folder{bench::DiskFolder()};
  const std::string log_path = folder.File("sturdy_comp.log");
  const std::string page = folder.File("page.html");
  std::ofstream(log_path, std::ios::binary) << *log;
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    const history::History history =
        history::ReadHistory(log_reader::LogReader(log_path).ReadNewMessages());
    std::ofstream(page, std::ios::binary) << timeline::MakePage(history, log_path);
    const std::chrono::duration<double> writing = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(writing.count() +
                           DrawingMs(page, folder.File("profile")) / kMsPerSecond);
  }
}

BENCHMARK(DrawTimeline)->Name("timeline/draw")->UseManualTime()->Iterations(1);

}  // namespace
