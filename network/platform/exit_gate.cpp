#include "network/platform/exit_gate.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <thread>

#include "base/process/unload_hook.h"
#include "base/sync/once_flag.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

constexpr std::chrono::milliseconds kLookAgain(1);

// Atomics and no mutex: a forked child may run the handler with the threads of its parent gone.
std::atomic<int> threads_inside{0};
std::atomic<bool> is_closed{false};
std::atomic<int64_t> closed_at_ms{0};  // set before `is_closed`
std::atomic<int> refusals{0};
std::atomic<pid_t> prepared_in{0};

zo_base::OnceFlag prepared_once;

// Real time: the end of the process waits for threads that run, not for a clock.
int64_t SteadyMs() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

bool HasPassedSinceClosing(int64_t ms) {
  return SteadyMs() >= closed_at_ms.load() + ms;
}

void MarkClosed() {
  closed_at_ms.store(SteadyMs());
  is_closed.store(true);
}

void CloseGate() {
  if (prepared_in.load() != getpid()) {
    return;  // a forked child, which has none of the threads that are counted
  }
  if (is_closed.load()) {
    return;  // it has been waited for
  }
  MarkClosed();
  while (threads_inside.load() > 0 && !HasPassedSinceClosing(kExitGateWaitMs)) {
    std::this_thread::sleep_for(kLookAgain);
  }
}

void Reset() {
  if (prepared_in.exchange(0) == getpid()) {
    prepared_once.Reset();
  }
}

void Prepare() {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  prepared_in.store(getpid());
  zo_base::AtUnload(Reset);
  if (!zo_base::AtEnd(CloseGate)) {
    throw std::runtime_error("no room for a handler of the process's end");
  }
  // With the handler in place OpenSSL must still be there. If it is not, the process has been
  // ending since before, and the handler may come too late or never.
  if (OPENSSL_init_crypto(0, nullptr) != 1) {
    MarkClosed();
  }
}

bool Enter() {
  // Counted before the gate is looked at: the handler sees the count, or this thread the shut gate.
  threads_inside.fetch_add(1);
  if (!is_closed.load()) {
    return true;
  }
  threads_inside.fetch_sub(1);
  while (refusals.load() == 0 && !HasPassedSinceClosing(kExitGateSleepMs)) {
    std::this_thread::sleep_for(kLookAgain);  // in most cases until the process is gone
  }
  return false;
}

}  // namespace

void PrepareExitGate() {
  prepared_once.Call(Prepare);
}

void ReregisterExitHandler() {
  (void)zo_base::AtEnd(CloseGate);  // without it the gate shuts where it was
}

ExitGateGuard::ExitGateGuard() : is_inside_(Enter()) {}

ExitGateGuard::~ExitGateGuard() {
  if (is_inside_) {
    threads_inside.fetch_sub(1);
  }
}

ScopedExitGateRefusal::ScopedExitGateRefusal() {
  refusals.fetch_add(1);
}

ScopedExitGateRefusal::~ScopedExitGateRefusal() {
  refusals.fetch_sub(1);
}

}  // namespace KRBASE::network::platform
