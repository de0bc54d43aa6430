#include "base/platform/system_thread.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>

#include "base/platform/thread.h"

namespace zo_base {
namespace {

// Linux keeps 16 bytes with the final zero.
constexpr size_t kThreadNameLimit = 15;

// Blocks signals while a thread is created. The thread inherits the mask, so it never accepts a
// signal that it shouldn't.
class ScopedSignalBlock {
 public:
  ScopedSignalBlock() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (int synchronous : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
      sigdelset(&blocked, synchronous);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &previous_);
  }
  ~ScopedSignalBlock() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
  ScopedSignalBlock(const ScopedSignalBlock&) = delete;
  ScopedSignalBlock& operator=(const ScopedSignalBlock&) = delete;

 private:
  sigset_t previous_{};
};

}  // namespace

std::thread StartSystemThread(std::function<void()> body) {
  const ScopedSignalBlock block;
  return std::thread(std::move(body));
}

void SetCurrentThreadName(const std::string& name) {
  pthread_setname_np(pthread_self(), name.substr(0, kThreadNameLimit).c_str());
}

uint32_t CurrentThreadId() {
  return static_cast<uint32_t>(::gettid());
}

uint32_t CurrentProcessId() {
  return static_cast<uint32_t>(::getpid());
}

}  // namespace zo_base
