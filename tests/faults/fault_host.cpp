// A busy client, to be killed.
//   fault_host FOLDER URL [start|work MICROSECONDS]
// Prints its first link and waits for a byte on its input. Then fetches, queries hosts and logs
// numbered lines until the next byte, exits its environment and ends. With the last two arguments
// a SIGKILL comes so long after the start of the process, or of that work.
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "base/log/log.h"
#include "base/log/tqlog.h"
#include "tests/faults/numbered_lines.h"
#include "tests/support/client_calls.h"

namespace {

using Logger = zo_base::TQLogImpl<zo_base::SturdyObject>;

std::atomic<bool> ends{false};

void WriteLines(std::atomic<int>& written, int thread) {
  while (!ends) {
    ZO_LOG(LV_APP) << NumberedLine(thread, written);
    ++written;
  }
}

void KeepFetching(zo_sturdy::IZOSturdyLBSService& service) {
  while (!ends) {
    AwaitFetchEnd(service);
    service.Update(net::kIPFamilyAny);
    Link(service);
  }
}

void KeepQuerying() {
  for (int i = 0; !ends; ++i) {
    Query("name" + std::to_string(i % kQueriedNames));
  }
}

void AwaitByte() {
  char byte = 0;
  static_cast<void>(!read(STDIN_FILENO, &byte, 1));
}

void KillAfter(const char* microseconds) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGKILL;
  timer_t timer{};
  timer_create(CLOCK_MONOTONIC, &event, &timer);
  itimerspec once{};
  once.it_value.tv_nsec = std::stol(microseconds) * 1000 + 1;
  timer_settime(timer, 0, &once, nullptr);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3 && count != 5) {
    return 2;
  }
  const std::string killed_at = count == 5 ? arguments[3] : "";
  if (killed_at == "start") {
    KillAfter(arguments[4]);
  }

  // Start, and show the first link.
  const std::string folder = arguments[1];
  SharedCounts counts(folder);
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder, "token"));
  zo_sturdy::IZOSturdyLBSService& service = *zo_sturdy::GetSturdyObject(1)->GetLBSService();
  service.Start(LBSRecord(arguments[2], "default.example:9"));
  std::printf("link %s\n", Link(service).c_str());
  std::fflush(stdout);
  AwaitByte();

  // Work until the next byte.
  Logger* const log = Logger::Instance();
  log->SetLogFile(log->GetLogFile(), kLogBytes, 0);
  log->Flush();  // cuts a log that lives too short for a flush have made longer
  if (killed_at == "work") {
    KillAfter(arguments[4]);
  }
  std::vector<std::thread> threads;
  for (int i = 0; i < kWritingThreads; ++i) {
    threads.emplace_back([&counts, i] { WriteLines(counts[i], i); });
  }
  threads.emplace_back(&KeepQuerying);
  threads.emplace_back([&service] { KeepFetching(service); });
  AwaitByte();

  // End in order.
  ends = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  zo_sturdy::ExitSturdyEnvironment(1);
  return 0;
}
