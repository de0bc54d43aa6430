#include <atomic>

#include "base/platform/file_faults_for_test.h"
#include "base/platform/kill_this_process.h"

namespace zo_base {
namespace {

std::atomic<bool> armed{false};
std::atomic<int> calls_left{0};
std::atomic<FileFault> kind{FileFault::kFailOnce};

bool CountCallFails() {
  if (!armed.load(std::memory_order_relaxed)) {
    return false;
  }
  const int left = --calls_left;
  return left == 0 || (left < 0 && kind == FileFault::kFailFromThere);
}

}  // namespace

ScopedFileFault::ScopedFileFault(int nth_call, FileFault fault) {
  kind = fault;
  calls_left = nth_call;
  armed = true;
}

ScopedFileFault::~ScopedFileFault() {
  armed = false;
}

bool ScopedFileFault::Fired() {
  return calls_left <= 0;
}

bool WriteFails() {
  return CountCallFails();
}

void KillIfAsked() {
  if (kind == FileFault::kKill) {
    KillThisProcess();
  }
}

bool FileCallFails() {
  const bool fails = CountCallFails();
  if (fails) {
    KillIfAsked();
  }
  return fails;
}

}  // namespace zo_base
