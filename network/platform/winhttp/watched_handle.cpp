#include "network/platform/winhttp/watched_handle.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

// The system's unit, 100 ns; negative from now on.
FILETIME FromNow(int64_t ms) {
  constexpr int64_t kUnitsPerMs = 10000;
  const auto units = static_cast<uint64_t>(-std::max<int64_t>(ms, 1) * kUnitsPerMs);
  return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32U)};
}

}  // namespace

WatchedHandle::WatchedHandle(WinHttpHandle handle)
    : timer_(CreateThreadpoolTimer(&WatchedHandle::OnTimer, this, nullptr)),
      handle_(std::move(handle)) {
  if (timer_ == nullptr) {
    throw std::bad_alloc();
  }
  zo_base::Clock::AddListener(this);
}

WatchedHandle::~WatchedHandle() {
  zo_base::Clock::RemoveListener(this);
  {
    zo_base::MutexLock lock(mutex_);
    call_began_at_ms_.reset();  // is set if the call threw: a callback would set the timer again
    SetTimerLocked();
  }
  WaitForThreadpoolTimerCallbacks(timer_.get(), TRUE);
}

void WatchedHandle::SetDeadline(int64_t monotonic_ms) {
  zo_base::MutexLock lock(mutex_);
  deadline_ms_ = monotonic_ms;
  SetTimerLocked();
}

bool WatchedHandle::Call(const std::function<BOOL(HINTERNET)>& call) {
  HINTERNET handle = nullptr;
  {
    zo_base::MutexLock lock(mutex_);
    handle = handle_.get();
    if (handle != nullptr) {
      call_began_at_ms_ = zo_base::Clock::UnheldMonotonicMs();
      SetTimerLocked();
    }
  }
  const bool is_done = handle != nullptr && call(handle) != FALSE;
  const DWORD error = GetLastError();
  zo_base::MutexLock lock(mutex_);
  call_began_at_ms_.reset();
  const bool is_closed = handle_ == nullptr;
  SetLastError(is_closed ? ERROR_WINHTTP_OPERATION_CANCELLED : error);
  return is_done && !is_closed;
}

void WatchedHandle::OnClockSet() {
  zo_base::MutexLock lock(mutex_);
  SetTimerLocked();
}

// No exception may cross the system. Without handles for a mutex the call ends at WinHTTP's limits.
void WatchedHandle::OnTimer(PTP_CALLBACK_INSTANCE /*instance*/, void* self, PTP_TIMER /*timer*/) {
  try {
    static_cast<WatchedHandle*>(self)->EndCall();
  } catch (const std::exception&) {
    return;
  }
}

void WatchedHandle::EndCall() {
  WinHttpHandle closing;  // outside of the mutex: closing takes time
  {
    zo_base::MutexLock lock(mutex_);
    if (LeftMsLocked().value_or(1) > 0) {
      SetTimerLocked();
      return;
    }
    closing = std::move(handle_);
  }
  // Wine doesn't end a call when its handle is closed. Outside of a handshake its next read then
  // ends at this limit.
  WinHttpSetTimeouts(closing.get(), 0, 1, 1, 1);
}

std::optional<int64_t> WatchedHandle::LeftMsLocked() const {
  if (!call_began_at_ms_.has_value() || deadline_ms_ == INT64_MAX || handle_ == nullptr) {
    return std::nullopt;
  }
  return std::max(deadline_ms_ - zo_base::Clock::MonotonicMs(),
                  *call_began_at_ms_ + kUndisturbedCallMs - zo_base::Clock::UnheldMonotonicMs());
}

void WatchedHandle::SetTimerLocked() {
  const std::optional<int64_t> left_ms = LeftMsLocked();
  if (!left_ms.has_value()) {
    SetThreadpoolTimer(timer_.get(), nullptr, 0, 0);
    return;
  }
  FILETIME due = FromNow(*left_ms);
  SetThreadpoolTimer(timer_.get(), &due, 0, 0);
}

}  // namespace KRBASE::network::platform
