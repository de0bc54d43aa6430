#include "network/platform/exit_gate.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <thread>

#include "base/platform/end_of_process.h"
#include "base/process/unload_hook.h"
#include "base/sync/once_flag.h"
#include "base/thread/clock.h"
#include "network/platform/curl/exit_gate_guard.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

constexpr std::chrono::milliseconds kPollInterval(1);

// Atomics instead of a mutex: a forked child may run the exit handler, and a thread that held the
// mutex would be missing there.
std::atomic<int> threads_inside{0};
std::atomic<bool> is_closed{false};
std::atomic<int64_t> closed_at_ms{0};  // set before `is_closed`
std::atomic<int> refusals{0};
std::atomic<pid_t> prepared_in{0};

zo_base::OnceFlag prepared_once;

bool HasPassedSinceClosing(int64_t ms) {
  return zo_base::Clock::UnheldMonotonicMs() >= closed_at_ms.load() + ms;
}

void MarkClosed() {
  closed_at_ms.store(zo_base::Clock::UnheldMonotonicMs());
  is_closed.store(true);
}

void CloseGate() {
  if (prepared_in.load() != getpid()) {
    return;  // a forked child, which has none of the counted threads
  }
  if (is_closed.load()) {
    return;  // an earlier run has waited, or Prepare has closed it before any thread was inside
  }
  MarkClosed();
  while (threads_inside.load() > 0 && !HasPassedSinceClosing(kExitGateWaitMs)) {
    std::this_thread::sleep_for(kPollInterval);
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
  // If OpenSSL has been cleaned up already, the process began to exit before the handler was
  // registered, and may never run it.
  if (OPENSSL_init_crypto(0, nullptr) != 1) {
    MarkClosed();
  }
}

bool Enter() {
  // Count first, then look: the exit handler sees this count, or this thread sees the closed gate.
  threads_inside.fetch_add(1);
  if (!is_closed.load()) {
    return true;
  }
  threads_inside.fetch_sub(1);
  while (refusals.load() == 0 && !HasPassedSinceClosing(kExitGateSleepMs)) {
    std::this_thread::sleep_for(kPollInterval);  // as a rule until the process is gone
  }
  return false;
}

}  // namespace

void PrepareExitGate() {
  prepared_once.Call(Prepare);
}

void ReregisterExitHandler() {
  (void)zo_base::AtEnd(CloseGate);  // if that fails, the earlier registration holds
}

bool IsExitGateClosed() {
  return is_closed.load();
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
