#include "tools/platform/interrupt.h"

#include <windows.h>

#include <atomic>

namespace platform {

namespace {

// Never closed: the system may run a handler until the process is gone.
HANDLE came = nullptr;
std::atomic<bool> is_handled{false};

// Runs on a thread of the system. The first signal sets the event; the system's own handler ends
// the process at the next one.
BOOL WINAPI OnSignal(DWORD signal) {
  if ((signal != CTRL_C_EVENT && signal != CTRL_BREAK_EVENT) || is_handled.exchange(true)) {
    return FALSE;
  }
  SetEvent(came);
  return TRUE;
}

}  // namespace

Interrupt::Interrupt() {
  came = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(&OnSignal, TRUE);
}

bool Interrupt::WaitFor(std::chrono::milliseconds limit) {
  return WaitForSingleObject(came, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0;
}

}  // namespace platform
