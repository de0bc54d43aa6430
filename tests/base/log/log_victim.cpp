#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/log/log_file.h"
#include "base/platform/file_faults_for_test.h"

// log_victim LOG LIMIT BUFFER_BYTES start|flush CALL: opens the log, or flushes a line to it, and
// is killed in the file call with this number. Prints a line if it gets to the end.
int main(int argc, char** argv) {
  if (argc != 6) {
    return 2;
  }
  const auto limit = static_cast<uint32_t>(std::atoi(argv[2]));
  const auto buffer = static_cast<uint32_t>(std::atoi(argv[3]));
  const bool in_flush = std::string(argv[4]) == "flush";
  zo_base::LogFile log;
  if (in_flush) {
    log.Init(argv[1], limit, buffer);
    log.Write("old");
  }
  const zo_base::ScopedFileFault fault(std::atoi(argv[5]), zo_base::FileFault::kKill);
  const bool done = in_flush ? log.Flush() : log.Init(argv[1], limit, buffer);
  std::puts(done ? "done" : "failed");
  return done ? 0 : 1;
}
