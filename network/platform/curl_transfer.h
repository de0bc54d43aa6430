#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/thread/clock.h"
#include "network/platform/curl_library.h"
#include "network/platform/curl_options.h"
#include "network/platform/response_head.h"
#include "network/platform/transfer_plan.h"

namespace KRBASE::network::platform {

// One exchange with one server over its own connection, in blocking steps: connect and send,
// receive the head, receive the body piece by piece. Each step drives libcurl's multi handle until
// the step is done. Bytes that libcurl receives beyond that wait in a bounded buffer, then in the
// socket.
// Threads: the worker's, except that setting the clock wakes a wait from any thread.
// Owner:   HttpRequestHandle, which makes a new one for each redirect.
// Errors:  a step returns false, and so do all later ones. A time-out is such a failure.
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
  // passed.
  bool WaitUntil(int64_t until_ms);
  [[nodiscard]] bool IsSent() const;
  [[nodiscard]] int64_t SentBytes() const;
  void Fail();

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
  bool is_connected_ = false;
  bool is_over_ = false;  // libcurl has ended the transfer, or we have failed it
  bool has_failed_ = false;

  ResponseHead head_;
  std::string buffer_;  // the received part of the body
  size_t buffer_begin_ = 0;
  bool is_paused_ = false;  // the buffer was full
};

}  // namespace KRBASE::network::platform
