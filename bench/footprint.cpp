// Measures what the library takes of a system, and prints it as JSON:
//   sturdy_footprint STRIPPED_LIBRARY
// Counts system calls by tracing a child that logs a thousand lines. A client in a separate process
// reports the rest.
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "base/log/log.h"
#include "base/process/at_exit.h"
#include "bench/client_folder.h"
#include "bench/client_process.h"
#include "bench/disk_folder.h"
#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "lab/temp_folder.h"

namespace {

constexpr int kLines = 1000;
// Holds all of them, so that none causes a flush.
constexpr uint32_t kBufferBytes = 1 << 20;

// Makes a system call that nothing else here makes. It shows the parent where the lines begin and
// end.
void Mark() {
  syscall(SYS_getppid);
}

[[noreturn]] void LogTraced(const std::string& path) {
  const auto at_exit = zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  auto* const logger = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
  logger->SetLogFile(path, 0, kBufferBytes);
  logger->SetLevel(zo_base::LV_APP);
  ZO_LOG(LV_APP) << "the first line asks for the ids";
  ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  (void)raise(SIGSTOP);
  Mark();
  for (int i = 0; i < kLines; ++i) {
    ZO_LOG(LV_APP) << "[lbs] Get link address 10.0.0.1:" << i << " use default:" << false;
  }
  Mark();
  _exit(0);
}

// Returns the number of system calls between the two marks, -1 if the system forbids tracing.
int64_t CountCallsOfLines() {
  const lab::TempFolder folder(bench::DiskFolder());
  const pid_t child = fork();
  if (child == 0) {
    LogTraced(folder.File("sturdy_comp.log"));
  }
  // Wait until the child stops itself, ready to be traced.
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFSTOPPED(status)) {
    return -1;
  }
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD);
  // Stop it at each entry into a call and at each return, and count the entries after the first
  // mark.
  int marks = 0;
  int64_t calls = 0;
  bool is_entry = true;
  while (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 &&
         waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
      continue;
    }
    if (is_entry) {
      __ptrace_syscall_info info{};
      ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
      if (info.entry.nr == SYS_getppid) {
        ++marks;
      } else if (marks == 1) {
        ++calls;
      }
    }
    is_entry = !is_entry;
  }
  return marks == 2 ? calls : -1;
}

nlohmann::json MeasureClient() {
  const bench::ClientFolder folder;
  const lab::Lab lab({lab::HttpServer("good").On(
      "/lbs", lab::Answer(lab::LbsDocument()
                              .Link({"10.0.0.1:80", "10.0.0.2:80", "link.example.com:80"})
                              .LinkDefault({"10.0.0.9:80"})
                              .Lbs("${url:good}/lbs")
                              .Text()))});
  return nlohmann::json::parse(
      bench::ClientProcess({"footprint", folder.path(), lab.Url("good", "/lbs")}).Output());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: sturdy_footprint STRIPPED_LIBRARY\n";
    return 2;
  }
  try {
    // Count first: a process may fork only while it has one thread.
    const int64_t calls = CountCallsOfLines();
    nlohmann::json footprint = MeasureClient();
    footprint["calls_per_1000_lines"] = calls;
    footprint["library_bytes"] = std::filesystem::file_size(argv[1]);
    std::cout << footprint.dump(2) << '\n';
  } catch (const std::exception& error) {
    std::cerr << "sturdy_footprint: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
