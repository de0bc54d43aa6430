#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>

#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"
#include "network/platform/http_handles.h"
#include "network/platform/http_url.h"
#include "network/platform/winhttp/transfer_progress.h"
#include "network/platform/winhttp/winhttp_handle.h"

namespace KRBASE::network::platform {

// A request over WinHTTP, which looks names up and follows redirects itself. Its notifications tell
// how far it is. They come inside our calls, possibly on a thread of WinHTTP's.
// A redirect from https to http fails the request.
class WinHttpRequest final : public HttpRequestHandle {
 public:
  // Requires: SetOptions has returned true before the request is used.
  WinHttpRequest(WinHttpHandle handle, HttpUrl url, const TransferTimeOuts& time_outs);
  ~WinHttpRequest() override;

  // Returns false if WinHTTP refuses an option that keeps a bound.
  [[nodiscard]] bool SetOptions();

  void IgnoreCertificateErrors() override;
  void AddOrReplaceHeaders(std::string_view header_text) override;
  bool Send(std::string_view extra_header_text, std::string_view body) override;
  const std::list<std::string>& host_addresses() const override { return host_addresses_; }
  bool ReceiveResponse() override;
  const std::string& raw_headers() const override { return raw_headers_; }
  int32_t status() const override;
  std::optional<int64_t> content_length() const override;
  bool QueryDataAvailable(size_t& available_bytes) override;
  bool ReadData(char* out, size_t limit_bytes, size_t& read_bytes) override;
  TransferCause cause() const override { return cause_; }
  TransferSteps steps() const override;

 private:
  static void CALLBACK OnStatus(HINTERNET handle, DWORD_PTR self, DWORD status, LPVOID information,
                                DWORD size);
  void OnRedirect(HINTERNET handle, std::wstring_view text);
  void Note(DWORD status, std::wstring_view text);

  // Reads a header, or a part of the head (WINHTTP_QUERY_...), as a text. Empty if there is none.
  [[nodiscard]] std::string Query(DWORD what) const;
  // Fails with the system's last error. Both return false.
  bool FailWithLastError();
  bool Fail(TransferCause cause);
  // When the transfer must have ended, on the monotonic clock.
  [[nodiscard]] int64_t DeadlineLocked() const ZO_REQUIRES(mutex_);
  [[nodiscard]] bool IsPastDeadline() const;
  // Returns whether the body has ended before its announced length.
  [[nodiscard]] bool IsCutShort() const;

  const TransferTimeOuts time_outs_;
  const bool has_zero_in_host_;
  std::list<std::string> host_addresses_;
  std::string raw_headers_;
  int64_t received_bytes_ = 0;
  TransferCause cause_{};

  // Not held in a call of WinHTTP.
  mutable zo_base::Mutex mutex_;
  HttpUrl hop_ ZO_GUARDED_BY(mutex_);  // of the present hop; after a redirect without its target
  TransferProgress progress_ ZO_GUARDED_BY(mutex_);

  const WinHttpHandle handle_;  // last: is closed before what its notifications use goes
};

}  // namespace KRBASE::network::platform
