#pragma once

// windows.h first: winhttp.h needs its types.
#include <windows.h>
#include <winhttp.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"
#include "base/thread/clock.h"
#include "network/platform/winhttp/winhttp_handle.h"

namespace KRBASE::network::platform {

// The handle of a request. WinHTTP bounds each address and each read, but neither the handshake of
// TLS nor a whole answer, and a blocking call ends early only if its handle is closed. A timer of
// the system's thread pool does that at the deadline. WinHTTP's documentation warns of closing the
// handle of a blocking call: the call may not have looked it up yet. So we let each call begin
// undisturbed, for kUndisturbedCallMs.
// Threads: one at a time, but SetDeadline from any, also inside a notification.
// Owner:   the exchange.
// Errors:  the constructor throws std::bad_alloc.
class WatchedHandle final : private zo_base::ClockListener {
 public:
  explicit WatchedHandle(WinHttpHandle handle);
  virtual ~WatchedHandle();
  WatchedHandle(const WatchedHandle&) = delete;
  WatchedHandle& operator=(const WatchedHandle&) = delete;

  // On the monotonic clock. A call that lasts less than kUndisturbedCallMs isn't ended.
  void SetDeadline(int64_t monotonic_ms);

  // Makes a call with the handle. Returns false, with the system's last error, if it fails or if
  // the handle has been closed.
  bool Call(const std::function<BOOL(HINTERNET)>& call);

 private:
  void OnClockSet() override;

  static void CALLBACK OnTimer(PTP_CALLBACK_INSTANCE instance, void* self, PTP_TIMER timer);
  // Closes the handle if the call in progress is due, or waits on.
  void EndCall();
  // How long until the call in progress must end; empty without one, or once it is being ended.
  [[nodiscard]] std::optional<int64_t> LeftMsLocked() const ZO_REQUIRES(mutex_);
  // Lets the timer fire when the call must end.
  void SetTimerLocked() ZO_REQUIRES(mutex_);

  struct TimerCloser {
    void operator()(PTP_TIMER timer) const { CloseThreadpoolTimer(timer); }
  };

  const std::unique_ptr<TP_TIMER, TimerCloser> timer_;

  zo_base::Mutex mutex_;                        // a leaf; not held in a call of WinHTTP
  WinHttpHandle handle_ ZO_GUARDED_BY(mutex_);  // null once it is closed
  int64_t deadline_ms_ ZO_GUARDED_BY(mutex_) = INT64_MAX;
  // Of the call in progress, on the clock that no test holds: it is about the system's threads.
  std::optional<int64_t> call_began_at_ms_ ZO_GUARDED_BY(mutex_);
};

}  // namespace KRBASE::network::platform
