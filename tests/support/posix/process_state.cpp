#include "tests/support/process_state.h"

#include <malloc.h>

#include <clocale>
#include <csignal>
#include <filesystem>

namespace {

int64_t CountEntries(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

}  // namespace

std::string HostState() {
  struct sigaction now {};
  sigaction(SIGPIPE, nullptr, &now);
  return std::string(std::setlocale(LC_ALL, nullptr)) + " " +
         std::filesystem::current_path().string() + (now.sa_handler == SIG_DFL ? "" : " SIGPIPE");
}

int64_t CountThreads() {
  return CountEntries("/proc/self/task");
}

int64_t CountHandles() {
  return CountEntries("/proc/self/fd");
}

int64_t CountHeapBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<int64_t>(heap.uordblks + heap.hblkhd);
}
