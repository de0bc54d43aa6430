#include "network/platform/curl/curl_transfer.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>
#include <string_view>
#include <vector>

#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"
#include "network/platform/curl/curl_options.h"
#include "network/platform/curl/exit_gate_guard.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

// The instant at which a limit ends. A limit of 0 or less never ends.
int64_t After(int64_t start_ms, int32_t limit_ms) {
  return limit_ms > 0 ? start_ms + limit_ms : INT64_MAX;
}

// Keeps a handle that may not be freed any more, since the process is exiting. The leak checkers
// then don't report it.
void Abandon(void* handle) {
  static zo_base::Mutex mutex;
  static zo_base::NoDestructor<std::vector<void*>> handles;
  zo_base::MutexLock lock(mutex);
  try {
    handles->push_back(handle);
  } catch (const std::bad_alloc&) {
    return;  // a leak checker may report this one
  }
}

}  // namespace

CurlTransfer::CurlTransfer(const TransferPlan& plan) : plan_(plan) {
  if (const ExitGateGuard inside; inside) {
    is_prepared_ = Prepare();
  } else {
    Fail(TransferCause::kShutDown);
  }
  if (is_prepared_) {
    zo_base::Clock::AddListener(this);
  }
}

CurlTransfer::~CurlTransfer() {
  if (is_prepared_) {
    zo_base::Clock::RemoveListener(this);
  }
  const ExitGateGuard inside;
  if (!inside) {
    Abandon(easy_.release());
    Abandon(multi_.release());
    return;
  }
  if (is_prepared_) {
    Curl().multi_remove_handle(multi_.get(), easy_.get());
  }
  easy_.reset();
  multi_.reset();
}

void CurlTransfer::OnClockSet() {
  Curl().multi_wakeup(multi_.get());
}

bool CurlTransfer::Prepare() {
  easy_.reset(Curl().easy_init());
  multi_.reset(Curl().multi_init());
  if (easy_ == nullptr || multi_ == nullptr || !BuildLists(plan_, lists_)) {
    Fail(TransferCause::kOutOfMemory);
    return false;
  }
  if (!SetTransferOptions(easy_.get(), plan_, lists_)) {
    Fail(TransferCause::kNotAvailable);  // an old libcurl lacks an option
    return false;
  }
  SetCallbacks();
  if (Curl().multi_add_handle(multi_.get(), easy_.get()) != CURLM_OK) {
    Fail(TransferCause::kOutOfMemory);
    return false;
  }
  return true;
}

void CurlTransfer::SetCallbacks() {
  CURL* easy = easy_.get();
  Curl().easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &CurlTransfer::OnSocket);
  Curl().easy_setopt(easy, CURLOPT_OPENSOCKETDATA, this);
  Curl().easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &CurlTransfer::OnTlsBegin);
  Curl().easy_setopt(easy, CURLOPT_SSL_CTX_DATA, this);
  Curl().easy_setopt(easy, CURLOPT_PREREQFUNCTION, &CurlTransfer::OnConnected);
  Curl().easy_setopt(easy, CURLOPT_PREREQDATA, this);
  Curl().easy_setopt(easy, CURLOPT_HEADERFUNCTION, &CurlTransfer::OnHeadLine);
  Curl().easy_setopt(easy, CURLOPT_HEADERDATA, this);
  Curl().easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlTransfer::OnBody);
  Curl().easy_setopt(easy, CURLOPT_WRITEDATA, this);
}

bool CurlTransfer::Send() {
  if (!is_prepared_) {
    return false;
  }
  begun_at_ms_ = zo_base::Clock::MonotonicMs();
  const int64_t connect_by_ms = After(begun_at_ms_, plan_.time_outs.connect_ms);
  int64_t send_by_ms = INT64_MAX;
  int64_t last_sent_bytes = -1;
  for (;;) {
    // Connect and send as far as possible without waiting.
    DriveLibcurl();
    if (IsSent() || head_.is_complete()) {
      return true;
    }
    if (is_over_) {
      return false;
    }
    // The send limit begins again whenever bytes are sent.
    const int64_t sent_bytes = SentBytes();
    if (is_connected() && sent_bytes != last_sent_bytes) {
      last_sent_bytes = sent_bytes;
      send_by_ms = After(zo_base::Clock::MonotonicMs(), plan_.time_outs.send_ms);
    }
    // Wait for progress.
    const bool is_in_time = is_connected()
                                ? WaitUntil(send_by_ms, TransferCause::kSendFailed)
                                : WaitUntil(connect_by_ms, TransferCause::kConnectTimeout);
    if (!is_in_time) {
      return false;
    }
  }
}

bool CurlTransfer::ReceiveHead() {
  const int64_t receive_by_ms = After(zo_base::Clock::MonotonicMs(), plan_.time_outs.receive_ms);
  while (!head_.is_complete()) {
    if (is_over_ || !WaitUntil(receive_by_ms, TransferCause::kHeadTimeout)) {
      return false;
    }
    DriveLibcurl();
  }
  head_at_ms_ = zo_base::Clock::MonotonicMs();
  return true;
}

bool CurlTransfer::WaitForBody() {
  const int64_t now_ms = zo_base::Clock::MonotonicMs();
  if (now_ms >= deadline_ms_) {
    Fail(TransferCause::kTooLong);  // while data keeps coming, WaitUntil isn't called
    return false;
  }
  const int64_t receive_by_ms = After(now_ms, plan_.time_outs.receive_ms);
  while (received_bytes() == 0 && !is_over_) {
    if (!is_paused_ && !WaitUntil(receive_by_ms, TransferCause::kReadTimeout)) {
      return false;
    }
    DriveLibcurl();
  }
  return received_bytes() > 0 || !has_failed_;
}

TransferSteps CurlTransfer::steps() const {
  TransferSteps steps;
  if (const auto at_ms = plan_.url.is_https ? tls_at_ms_ : connected_at_ms_; at_ms.has_value()) {
    steps.connect_ms = *at_ms - begun_at_ms_;
  }
  if (tls_at_ms_.has_value() && connected_at_ms_.has_value()) {
    steps.tls_ms = *connected_at_ms_ - *tls_at_ms_;
  }
  if (head_at_ms_.has_value() && connected_at_ms_.has_value()) {
    steps.head_ms = *head_at_ms_ - *connected_at_ms_;
  }
  return steps;
}

int32_t CurlTransfer::status() const {
  long code = 0;
  Curl().easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &code);
  return static_cast<int32_t>(code);
}

int64_t CurlTransfer::content_length() const {
  curl_off_t length = -1;
  Curl().easy_getinfo(easy_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  return length;
}

size_t CurlTransfer::TakeBody(char* out, size_t limit_bytes) {
  const size_t taken = std::min(limit_bytes, received_bytes());
  std::copy_n(buffer_.data() + buffer_begin_, taken, out);
  buffer_begin_ += taken;
  if (received_bytes() == 0) {
    buffer_.clear();
    buffer_begin_ = 0;
  }
  return taken;
}

void CurlTransfer::DriveLibcurl() {
  const ExitGateGuard inside;
  if (!inside) {
    Fail(TransferCause::kShutDown);
    return;
  }
  // Resume a body that was paused for a full buffer.
  if (is_paused_ && received_bytes() == 0) {
    is_paused_ = false;
    if (const CURLcode code = Curl().easy_pause(easy_.get(), CURLPAUSE_CONT); code != CURLE_OK) {
      FailWith(code);  // the data that libcurl held back is lost
    }
  }
  // Transfer, then look whether that ended it.
  int running = 0;
  if (Curl().multi_perform(multi_.get(), &running) != CURLM_OK) {
    Fail(TransferCause::kOutOfMemory);
  }
  int queued = 0;
  while (const CURLMsg* message = Curl().multi_info_read(multi_.get(), &queued)) {
    if (message->msg == CURLMSG_DONE) {
      is_over_ = true;
      if (message->data.result != CURLE_OK || !head_.is_complete()) {
        FailWith(message->data.result);
      }
    }
  }
}

bool CurlTransfer::WaitUntil(int64_t until_ms, TransferCause cause) {
  const int64_t end_ms = std::min(until_ms, deadline_ms_);
  const int64_t left_ms = end_ms - zo_base::Clock::MonotonicMs();
  if (left_ms <= 0) {
    Fail(deadline_ms_ < until_ms ? TransferCause::kTooLong : cause);
    return false;
  }
  // Takes no guard: it is long, and only watches sockets and libcurl's timers.
  const int64_t wait_ms = std::min<int64_t>(left_ms, is_connected() ? INT_MAX : kConnectPollMs);
  Curl().multi_poll(multi_.get(), nullptr, 0, static_cast<int>(wait_ms), nullptr);
  return true;
}

TransferPhase CurlTransfer::phase() const {
  if (head_.is_complete()) {
    return TransferPhase::kInBody;
  }
  if (head_.has_begun()) {
    return TransferPhase::kInHead;
  }
  return is_connected() ? TransferPhase::kWaiting : TransferPhase::kConnecting;
}

void CurlTransfer::FailWith(CURLcode code) {
  long system_error = 0;  // 0 after a socket that couldn't be opened
  Curl().easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &system_error);
  system_error = system_error != 0 ? system_error : socket_error_;
  Fail(CauseOf(code, static_cast<int>(system_error), phase(), plan_.url.is_https));
}

void CurlTransfer::Fail(TransferCause cause) {
  cause_ = has_failed_ ? cause_ : cause;  // the first one counts
  has_failed_ = true;
  is_over_ = true;
}

bool CurlTransfer::IsSent() const {
  if (!is_connected()) {
    return false;
  }
  curl_off_t uploaded = 0;
  Curl().easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
  return uploaded >= static_cast<curl_off_t>(plan_.body.size());
}

int64_t CurlTransfer::SentBytes() const {
  curl_off_t uploaded = 0;
  Curl().easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
  long head_bytes = 0;
  Curl().easy_getinfo(easy_.get(), CURLINFO_REQUEST_SIZE, &head_bytes);
  return uploaded + head_bytes;
}

curl_socket_t CurlTransfer::OnSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) {
  const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  static_cast<CurlTransfer*>(self)->socket_error_ = opened < 0 ? errno : 0;
  return opened;
}

CURLcode CurlTransfer::OnTlsBegin(CURL* /*easy*/, void* context, void* self) {
  static_cast<CurlTransfer*>(self)->tls_at_ms_ = zo_base::Clock::MonotonicMs();
  // Keep the keys of the connection out of the file that SSLKEYLOGFILE names: libcurl has set its
  // own callback for them by now. It has also opened the file, when it was set up.
  if (Curl().set_keylog_callback != nullptr) {
    Curl().set_keylog_callback(static_cast<SSL_CTX*>(context), nullptr);
  }
  return CURLE_OK;
}

int CurlTransfer::OnConnected(void* self, char* /*to_ip*/, char* /*from_ip*/, int /*to_port*/,
                              int /*from_port*/) {
  auto* transfer = static_cast<CurlTransfer*>(self);
  const int64_t now_ms = zo_base::Clock::MonotonicMs();
  transfer->connected_at_ms_ = now_ms;
  // The limit of the whole transfer begins here, so a server that reads the request slowly uses it
  // up like one that sends its answer slowly.
  transfer->SetDeadline(std::min(transfer->deadline_ms_, now_ms + kMaxTransferMs));
  return CURL_PREREQFUNC_OK;
}

// No exception may cross libcurl. Returning less than `size * count` fails the transfer.
size_t CurlTransfer::OnHeadLine(char* data, size_t size, size_t count, void* self) {
  auto* transfer = static_cast<CurlTransfer*>(self);
  const size_t size_bytes = size * count;
  try {
    const auto refusal = transfer->head_.AddLine({data, size_bytes}, transfer->status());
    if (!refusal.has_value()) {
      return size_bytes;
    }
    transfer->Fail(*refusal);
  } catch (const std::bad_alloc&) {
    transfer->Fail(TransferCause::kOutOfMemory);
  }
  return 0;
}

size_t CurlTransfer::OnBody(char* data, size_t size, size_t count, void* self) {
  auto* transfer = static_cast<CurlTransfer*>(self);
  if (transfer->received_bytes() >= kReceiveBufferBytes) {
    transfer->is_paused_ = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  try {
    transfer->buffer_.append(data, size * count);
  } catch (const std::bad_alloc&) {
    transfer->Fail(TransferCause::kOutOfMemory);
    return 0;
  }
  return size * count;
}

}  // namespace KRBASE::network::platform
