#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/thread/clock.h"
#include "network/platform/curl/curl_cause.h"
#include "network/platform/curl/curl_library.h"
#include "network/platform/curl/curl_options.h"
#include "network/platform/curl/response_head.h"
#include "network/platform/transfer_plan.h"
#include "network/transfer_failure.h"

namespace KRBASE::network::platform {

// One exchange with one server over its own connection, in blocking steps: connect and send,
// receive the head, receive the body piece by piece. Each step drives libcurl's multi handle until
// the step is done. Bytes that libcurl receives beyond that wait in a bounded buffer, then in the
// socket.
// Threads: the worker's, except that setting the clock wakes a wait from any thread.
// Owner:   CurlRequest, which makes a new one for each redirect.
// Errors:  a step returns false, and so do all later ones. A time-out is such a failure. `cause`
//          has the first failure.
class CurlTransfer final : private zo_base::ClockListener {
 public:
  // Requires: `plan` and the body it refers to outlive the transfer, unchanged.
  explicit CurlTransfer(const TransferPlan& plan);
  virtual ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  // Ends each step at this instant of the monotonic clock, whatever other limit it has. Send lowers
  // it to kMaxTransferMs after the connect.
  void SetDeadline(int64_t monotonic_ms) { deadline_ms_ = monotonic_ms; }
  [[nodiscard]] int64_t deadline_ms() const { return deadline_ms_; }

  // Connects, TLS included, and sends. If the server closes the connection after it was sent the
  // request, the next step fails, not this one.
  [[nodiscard]] bool Send();
  // Receives up to the end of the final head.
  [[nodiscard]] bool ReceiveHead();
  // Blocks until a part of the body has been received, or all of it.
  [[nodiscard]] bool WaitForBody();

  // Requires: a step has returned false.
  [[nodiscard]] TransferCause cause() const { return cause_; }
  // The steps so far. The transfer knows nothing of the look-up.
  [[nodiscard]] TransferSteps steps() const;

  [[nodiscard]] const std::string& head() const { return head_.text(); }
  [[nodiscard]] int32_t status() const;
  // -1 if the server sent none.
  [[nodiscard]] int64_t content_length() const;
  [[nodiscard]] size_t received_bytes() const { return buffer_.size() - buffer_begin_; }
  // Moves at most this many received bytes to `out` and returns their number.
  size_t TakeBody(char* out, size_t limit_bytes);

 private:
  struct EasyDeleter {
    void operator()(CURL* easy) const { Curl().easy_cleanup(easy); }
  };
  struct MultiDeleter {
    void operator()(CURLM* multi) const { Curl().multi_cleanup(multi); }
  };

  void OnClockSet() override;

  bool Prepare();
  void SetCallbacks();

  // Lets libcurl go as far as it can without waiting.
  void DriveLibcurl();
  // Waits for sockets. Returns false, and fails the transfer, if `until_ms` or the deadline has
  // passed; in the first case with `cause`.
  bool WaitUntil(int64_t until_ms, TransferCause cause);
  [[nodiscard]] bool is_connected() const { return connected_at_ms_.has_value(); }
  [[nodiscard]] bool IsSent() const;
  [[nodiscard]] int64_t SentBytes() const;
  [[nodiscard]] TransferPhase phase() const;
  // Fails with the cause that libcurl's result has.
  void FailWith(CURLcode code);
  void Fail(TransferCause cause);

  static curl_socket_t OnSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
  // Called when TCP has connected. Not called if libcurl uses another TLS library than OpenSSL.
  static CURLcode OnTlsBegin(CURL* easy, void* context, void* self);
  static int OnConnected(void* self, char* to_ip, char* from_ip, int to_port, int from_port);
  static size_t OnHeadLine(char* data, size_t size, size_t count, void* self);
  static size_t OnBody(char* data, size_t size, size_t count, void* self);

  const TransferPlan& plan_;
  int64_t deadline_ms_ = INT64_MAX;

  // Destroyed in reverse: the easy handle refers to the lists. The destructor takes the easy handle
  // out of the multi handle first.
  CurlLists lists_;
  std::unique_ptr<CURL, EasyDeleter> easy_;
  std::unique_ptr<CURLM, MultiDeleter> multi_;

  bool is_prepared_ = false;
  int socket_error_ = 0;  // the errno of the last socket; 0 if it could be opened
  bool is_over_ = false;  // libcurl has ended the transfer, or we have failed it
  bool has_failed_ = false;
  TransferCause cause_{};
  int64_t begun_at_ms_ = 0;
  std::optional<int64_t> tls_at_ms_;
  std::optional<int64_t> connected_at_ms_;  // TLS included
  std::optional<int64_t> head_at_ms_;

  ResponseHead head_;
  std::string buffer_;  // the received part of the body
  size_t buffer_begin_ = 0;
  bool is_paused_ = false;  // the buffer was full
};

}  // namespace KRBASE::network::platform
