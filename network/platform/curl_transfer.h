#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/thread/clock.h"
#include "network/platform/curl_library.h"
#include "network/platform/curl_options.h"
#include "network/platform/transfer_plan.h"

namespace KRBASE::network::platform {

// One exchange with one server over a connection of its own, in blocking steps: connect and send,
// receive the head, receive the body piece by piece. libcurl does the work inside a multi handle
// that each step drives until it has what it is for; what libcurl receives beyond that waits in a
// bounded buffer, and behind it in the socket.
// Threads: that of the worker, but for the clock, which wakes a wait from any.
// Owner:   the request handle.
// Errors:  a step answers false, and so do all later ones. Time-outs are such failures.
class CurlTransfer final : private zo_base::ClockListener {
 public:
  // Requires: `plan` outlives the transfer, unchanged.
  explicit CurlTransfer(const TransferPlan& plan);
  virtual ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  // Each of the three ends at this instant of the monotonic clock, whatever else bounds it; Send
  // brings it forward to kMaxTransferMs after the connect.
  void SetDeadline(int64_t monotonic_ms) { deadline_ms_ = monotonic_ms; }
  [[nodiscard]] int64_t deadline_ms() const { return deadline_ms_; }

  // Connects, TLS included, and sends. A server that hangs up once it has been sent the request
  // fails the next step, not this one.
  [[nodiscard]] bool Send();
  // Receives up to the end of the final head.
  [[nodiscard]] bool ReceiveHead();
  // Waits until there is a part of the body to take, or its end.
  [[nodiscard]] bool WaitForBody();

  // The final head: lines ended by CRLF, the last one empty. 1xx heads are dropped.
  [[nodiscard]] const std::string& head() const { return head_; }
  [[nodiscard]] int64_t status() const;
  // -1 if the server didn't tell.
  [[nodiscard]] int64_t content_length() const;
  [[nodiscard]] size_t received_bytes() const { return buffer_.size() - buffer_begin_; }
  // Takes what is received, at most this much.
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
  void Step();
  // Waits for sockets, at most until `until_ms`; false if that or the deadline has come.
  bool WaitUntil(int64_t until_ms);
  [[nodiscard]] bool IsSent() const;
  [[nodiscard]] int64_t SentBytes() const;
  void Fail();
  // False for a line that ends the transfer.
  bool TakeHeadLine(const char* data, size_t size_bytes);

  static int OnConnected(void* self, char* to_ip, char* from_ip, int to_port, int from_port);
  static size_t OnHeadLine(char* data, size_t size, size_t count, void* self);
  static size_t OnBody(char* data, size_t size, size_t count, void* self);

  const TransferPlan& plan_;
  int64_t deadline_ms_ = INT64_MAX;

  CurlLists lists_;
  // After the lists, which it refers to, and taken out of the multi handle before either goes.
  std::unique_ptr<CURL, EasyDeleter> easy_;
  std::unique_ptr<CURLM, MultiDeleter> multi_;

  bool is_prepared_ = false;
  bool is_connected_ = false;
  bool is_over_ = false;  // libcurl is done with it, well or not
  bool has_failed_ = false;

  std::string head_;
  size_t head_bytes_ = 0;  // of all heads, 1xx and trailers included
  bool is_head_complete_ = false;
  bool is_new_head_ = true;

  std::string buffer_;
  size_t buffer_begin_ = 0;
  bool is_paused_ = false;
};

}  // namespace KRBASE::network::platform
