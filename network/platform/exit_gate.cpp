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
std::atomic<bool> is_shut{false};
std::atomic<int64_t> shut_at_ms{0};  // set before `is_shut`
std::atomic<int> turning_away{0};
std::atomic<pid_t> prepared_in{0};

zo_base::OnceFlag prepared_once;

// Real time: the end of the process waits for threads that run, not for a clock.
int64_t SteadyMs() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

bool HasPassedSinceShut(int64_t ms) {
  return SteadyMs() >= shut_at_ms.load() + ms;
}

void Shut() {
  shut_at_ms.store(SteadyMs());
  is_shut.store(true);
}

void ShutGate() {
  if (prepared_in.load() != getpid()) {
    return;  // a forked child, which has none of the threads that are counted
  }
  if (is_shut.load()) {
    return;  // it has been waited for
  }
  Shut();
  while (threads_inside.load() > 0 && !HasPassedSinceShut(kExitGateWaitMs)) {
    std::this_thread::sleep_for(kLookAgain);
  }
}

void TakeAway() {
  if (prepared_in.exchange(0) == getpid()) {
    prepared_once.Reset();
  }
}

void Prepare() {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
  prepared_in.store(getpid());
  zo_base::AtUnload(TakeAway);
  if (!zo_base::AtEnd(ShutGate)) {
    throw std::runtime_error("no room for a handler of the process's end");
  }
  // With the handler in place OpenSSL must still be there. If it is not, the process has been
  // ending since before, and the handler may come too late or never.
  if (OPENSSL_init_crypto(0, nullptr) != 1) {
    Shut();
  }
}

bool Enter() {
  // Counted before the gate is looked at: the handler sees the count, or this thread the shut gate.
  threads_inside.fetch_add(1);
  if (!is_shut.load()) {
    return true;
  }
  threads_inside.fetch_sub(1);
  while (turning_away.load() == 0 && !HasPassedSinceShut(kExitGateSleepMs)) {
    std::this_thread::sleep_for(kLookAgain);  // in most cases until the process is gone
  }
  return false;
}

}  // namespace

void PrepareExitGate() {
  prepared_once.Call(Prepare);
}

void MoveExitGateToFront() {
  (void)zo_base::AtEnd(ShutGate);  // without it the gate shuts where it was
}

InsideTransferCode::InsideTransferCode() : is_inside_(Enter()) {}

InsideTransferCode::~InsideTransferCode() {
  if (is_inside_) {
    threads_inside.fetch_sub(1);
  }
}

TurnAwayAtExitGate::TurnAwayAtExitGate() {
  turning_away.fetch_add(1);
}

TurnAwayAtExitGate::~TurnAwayAtExitGate() {
  turning_away.fetch_sub(1);
}

}  // namespace KRBASE::network::platform
