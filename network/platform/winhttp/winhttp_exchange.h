#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"
#include "network/platform/transfer_plan.h"
#include "network/platform/winhttp/live_exchange.h"
#include "network/platform/winhttp/transfer_progress.h"
#include "network/platform/winhttp/watched_handle.h"
#include "network/platform/winhttp/winhttp_handle.h"
#include "network/transfer_failure.h"

namespace KRBASE::network::platform {

// One exchange with one server over WinHTTP, in blocking steps: look up, connect and send, receive
// the head, receive the body piece by piece. Notifications tell how far it is. They come inside our
// calls, possibly on a thread of WinHTTP's.
// Threads: one at a time.
// Owner:   WinHttpRequest, which makes a new one for each redirect.
// Errors:  a step returns false. `cause` has the last failure.
class WinHttpExchange {
 public:
  // Returns null, with the system's last error, if WinHTTP opens no request.
  // Requires: `connection` and `plan`, with the body it refers to, outlive the exchange, unchanged
  //           from Send on.
  static std::unique_ptr<WinHttpExchange> Open(HINTERNET connection, const TransferPlan& plan);

  WinHttpExchange(WinHttpHandle handle, const TransferPlan& plan);

  // Ends each step at this instant of the monotonic clock, whatever other limit it has. Send lowers
  // it to kMaxTransferMs after the connect.
  void SetDeadline(int64_t monotonic_ms);
  [[nodiscard]] int64_t deadline_ms() const;

  [[nodiscard]] bool Send();
  [[nodiscard]] bool ReceiveHead();
  // Blocks until a part of the body has been received. `available_bytes` is 0 at its end.
  [[nodiscard]] bool WaitForBody(size_t& available_bytes);
  [[nodiscard]] bool ReadBody(char* out, size_t limit_bytes, size_t& read_bytes);

  // Requires: a step has returned false.
  [[nodiscard]] TransferCause cause() const { return cause_; }
  [[nodiscard]] TransferSteps steps() const;
  // The addresses of the host, as texts for reports.
  [[nodiscard]] std::list<std::string> addresses() const;

  // Of the head. Require: ReceiveHead has returned true.
  [[nodiscard]] const std::string& head() const { return head_; }
  [[nodiscard]] int32_t status() const { return status_; }
  [[nodiscard]] std::optional<int64_t> content_length() const;

 private:
  static void CALLBACK OnStatus(HINTERNET handle, DWORD_PTR number, DWORD status,
                                LPVOID information, DWORD size);
  // Takes one notification. Throws std::bad_alloc.
  void TakeStatus(DWORD status, const void* information);
  void Note(DWORD status, std::wstring_view text);

  // Sets the options that keep our bounds, and the headers.
  bool Prepare();
  // Lets the calls from now on end after this time, or at the deadline; 0 is no limit.
  void LimitStepLocked(int32_t limit_ms) ZO_REQUIRES(mutex_);
  void LimitStep(int32_t limit_ms);
  // Reads a part of the head (WINHTTP_QUERY_...) as a text. Empty if there is none.
  std::string Query(DWORD what);
  // Fails with the system's last error. Both return false.
  bool FailWithLastError();
  bool Fail(TransferCause cause);
  // Returns whether the body has ended before its announced length.
  [[nodiscard]] bool IsCutShort() const;

  const TransferPlan& plan_;
  std::string head_;
  int32_t status_ = 0;
  int64_t received_bytes_ = 0;
  TransferCause cause_{};

  mutable zo_base::Mutex mutex_;  // taken before the handle's; not held in a call of WinHTTP
  int64_t deadline_ms_ ZO_GUARDED_BY(mutex_) = INT64_MAX;
  int64_t step_end_ms_ ZO_GUARDED_BY(mutex_) = INT64_MAX;
  TransferProgress progress_ ZO_GUARDED_BY(mutex_);

  WatchedHandle handle_;
  const LiveExchange live_{this};  // last: no notification sees the end of what it uses
};

}  // namespace KRBASE::network::platform
