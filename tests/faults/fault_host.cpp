// A client that logs numbered lines, to be killed.
//   fault_host FOLDER URL WORK [N]
// Prints its first link, waits for a byte on its input, and then does WORK: "save" (fetches),
// "flush", "shrink" (lines), "busy" (all of it, and host queries), until it is killed, by itself in
// the N-th file call if there is an N, or until the next byte; then it exits its environment.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/log/log.h"
#include "base/log/tqlog.h"
#include "base/platform/file_faults_for_test.h"
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

void FetchOn(zo_sturdy::IZOSturdyLBSService& service) {
  std::vector<char> document(zo_sturdy::kLBSResponseBufferSize);
  while (!ends) {
    service.GetLBSResponse(false, document.data());  // until it takes the next update
    service.Update(net::kIPFamilyAny);
    Link(service);
  }
}

void QueryOn(zo_sturdy::IZOSturdyObject& object) {
  std::vector<char> out(zo_sturdy::kQueryHostBufferSize);
  for (int i = 0; !ends; ++i) {
    object.QueryHost(("name" + std::to_string(i % kQueriedNames)).c_str(), 0, out.data());
  }
}

void AwaitSign() {
  char sign = 0;
  static_cast<void>(!read(STDIN_FILENO, &sign, 1));
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 4) {
    return 2;
  }
  const std::string folder = arguments[1];
  const std::string work = arguments[3];
  SharedCounts counts(folder);
  zo_sturdy::StartSturdyEnvironment(EnvironmentSettings(folder, "token"));
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
  zo_sturdy::IZOSturdyLBSService& service = *object.GetLBSService();
  service.Start(LBSRecord(arguments[2], "default.example:9"));
  std::printf("link %s\n", Link(service).c_str());
  std::fflush(stdout);
  AwaitSign();

  Logger* const log = Logger::Instance();
  log->SetLogFile(log->GetLogFile(), LogBytes(work), 0);
  std::optional<zo_base::ScopedFileFault> fault;
  if (count > 4) {
    fault.emplace(std::stoi(arguments[4]), zo_base::FileFault::kKill);
  }
  std::vector<std::thread> threads;
  if (work != "save") {
    threads.emplace_back([&] { WriteLines(counts[0], 0); });
  }
  if (work == "busy") {
    threads.emplace_back([&] { WriteLines(counts[1], 1); });
    threads.emplace_back([&] { QueryOn(object); });
  }
  if (work == "busy" || work == "save") {
    threads.emplace_back([&] { FetchOn(service); });
  }
  AwaitSign();
  ends = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  zo_sturdy::ExitSturdyEnvironment(1);
  return 0;
}
