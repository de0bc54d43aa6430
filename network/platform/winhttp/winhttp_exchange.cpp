#include "network/platform/winhttp/winhttp_exchange.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "base/decimal.h"
#include "base/platform/windows/wide_text.h"
#include "base/thread/clock.h"
#include "network/platform/header_lines.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

constexpr DWORD kIgnoredCertificateErrors = SECURITY_FLAG_IGNORE_UNKNOWN_CA |
                                            SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
                                            SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
static_assert(kIgnoredCertificateErrors == 0x3100);

constexpr DWORD kNotifications =
    WINHTTP_CALLBACK_FLAG_RESOLVE_NAME | WINHTTP_CALLBACK_FLAG_CONNECT_TO_SERVER |
    WINHTTP_CALLBACK_FLAG_SEND_REQUEST | WINHTTP_CALLBACK_FLAG_RECEIVE_RESPONSE;

constexpr int32_t kFirstStatus = 100;
constexpr int32_t kNoContent = 204;
constexpr int32_t kNotModified = 304;

// Adds line by line: WinHTTP refuses a whole text for one line that it doesn't like. A refused line
// is left out, and a blank value too, since that would remove the header.
void AddHeaders(HINTERNET handle, const HeaderLines& headers) {
  for (const HeaderLines::Line& line : headers.lines()) {
    if (line.value.find_first_not_of(" \t") != std::string::npos) {
      const std::wstring text = zo_base::Wide(line.name + ":" + line.value + "\r\n");
      WinHttpAddRequestHeaders(handle, text.c_str(), static_cast<DWORD>(text.size()),
                               WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE);
    }
  }
}

// Needs no watch: WinHTTP waits for nothing.
std::string QueryText(HINTERNET handle, DWORD what) {
  DWORD size_bytes = 0;
  WinHttpQueryHeaders(handle, what, WINHTTP_HEADER_NAME_BY_INDEX, nullptr, &size_bytes,
                      WINHTTP_NO_HEADER_INDEX);
  std::wstring text(size_bytes / sizeof(wchar_t), L'\0');
  if (text.empty() || !WinHttpQueryHeaders(handle, what, WINHTTP_HEADER_NAME_BY_INDEX, text.data(),
                                           &size_bytes, WINHTTP_NO_HEADER_INDEX)) {
    return "";
  }
  return zo_base::Utf8(text.c_str());
}

bool SetOptions(HINTERNET handle, bool is_https, bool ignore_certificate_errors) {
  if (is_https && ignore_certificate_errors) {
    SetOption(handle, WINHTTP_OPTION_SECURITY_FLAGS, kIgnoredCertificateErrors);
  }
  if (is_https) {
    // Otherwise a server that asks for a certificate, even as an option, fails the transfer.
    WinHttpSetOption(handle, WINHTTP_OPTION_CLIENT_CERT_CONTEXT, WINHTTP_NO_CLIENT_CERT_CONTEXT, 0);
  }
  return SetOption(handle, WINHTTP_OPTION_DISABLE_FEATURE,
                   WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES |
                       WINHTTP_DISABLE_AUTHENTICATION | WINHTTP_DISABLE_KEEP_ALIVE);
}

}  // namespace

std::unique_ptr<WinHttpExchange> WinHttpExchange::Open(HINTERNET connection,
                                                       const TransferPlan& plan) {
  WinHttpHandle handle(WinHttpOpenRequest(
      connection, plan.method == kHttpMethodGet ? L"GET" : L"POST",
      zo_base::Wide(plan.url.target).c_str(), nullptr, WINHTTP_NO_REFERER,
      WINHTTP_DEFAULT_ACCEPT_TYPES, plan.url.is_https ? WINHTTP_FLAG_SECURE : 0));
  return handle != nullptr ? std::make_unique<WinHttpExchange>(std::move(handle), plan) : nullptr;
}

WinHttpExchange::WinHttpExchange(WinHttpHandle handle, const TransferPlan& plan)
    : plan_(plan), progress_(plan.url.host), handle_(std::move(handle)) {}

void WinHttpExchange::SetDeadline(int64_t monotonic_ms) {
  zo_base::MutexLock lock(mutex_);
  deadline_ms_ = monotonic_ms;
}

int64_t WinHttpExchange::deadline_ms() const {
  zo_base::MutexLock lock(mutex_);
  return deadline_ms_;
}

bool WinHttpExchange::Send() {
  if (plan_.body.size() > MAXDWORD) {
    return Fail(TransferCause::kOutOfMemory);
  }
  if (plan_.url.host.find('\0') != std::string::npos) {
    return Fail(TransferCause::kNameNotResolved);  // WinHTTP would look up the text before it
  }
  if (!Prepare()) {
    return Fail(TransferCause::kNotAvailable);
  }
  LimitStep(0);  // the connect has a limit for each address, in the session
  return handle_.Call([this](HINTERNET handle) {
    // WinHTTP only reads the body, in spite of the parameter's type.
    auto* const body = const_cast<char*>(plan_.body.data());
    const auto body_bytes = static_cast<DWORD>(plan_.body.size());
    return WinHttpSendRequest(handle, WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                              body_bytes == 0 ? WINHTTP_NO_REQUEST_DATA : body, body_bytes,
                              body_bytes, live_.number());
  }) || FailWithLastError();
}

bool WinHttpExchange::Prepare() {
  return handle_.Call([this](HINTERNET handle) -> BOOL {
    const bool has_options =
        SetOptions(handle, plan_.url.is_https, plan_.ignore_certificate_errors) &&
        WinHttpSetStatusCallback(handle, &WinHttpExchange::OnStatus, kNotifications, 0) !=
            WINHTTP_INVALID_STATUS_CALLBACK;
    AddHeaders(handle, plan_.headers);
    return has_options ? TRUE : FALSE;
  });
}

bool WinHttpExchange::ReceiveHead() {
  LimitStep(plan_.time_outs.receive_ms);
  if (!handle_.Call([](HINTERNET handle) { return WinHttpReceiveResponse(handle, nullptr); })) {
    return FailWithLastError();
  }
  head_ = Query(WINHTTP_QUERY_RAW_HEADERS_CRLF);
  status_ = zo_base::LeadingDigits<int32_t>(Query(WINHTTP_QUERY_STATUS_CODE));
  if (head_.size() > kMaxHeadBytes) {
    return Fail(TransferCause::kTooLarge);
  }
  if (status_ < kFirstStatus || HasUnrequestedCoding(head_)) {
    return Fail(TransferCause::kMalformed);
  }
  zo_base::MutexLock lock(mutex_);
  progress_.OnHead();
  return true;
}

std::optional<int64_t> WinHttpExchange::content_length() const {
  const bool is_coded = !HeaderValue(head_, "Transfer-Encoding").empty();  // overrides the length
  const auto length = zo_base::WholeNumber<int64_t>(HeaderValue(head_, "Content-Length"));
  return is_coded || length.value_or(-1) < 0 ? std::nullopt : length;
}

bool WinHttpExchange::WaitForBody(size_t& available_bytes) {
  available_bytes = 0;
  if (zo_base::Clock::MonotonicMs() >= deadline_ms()) {
    return Fail(TransferCause::kTooLong);
  }
  LimitStep(plan_.time_outs.receive_ms);
  DWORD available = 0;
  if (!handle_.Call([&available](HINTERNET handle) {
        return WinHttpQueryDataAvailable(handle, &available);
      })) {
    return FailWithLastError();
  }
  if (available == 0 && IsCutShort()) {
    return Fail(TransferCause::kCutShort);
  }
  available_bytes = available;
  return true;
}

bool WinHttpExchange::ReadBody(char* out, size_t limit_bytes, size_t& read_bytes) {
  read_bytes = 0;
  DWORD taken = 0;
  if (!handle_.Call([out, limit_bytes, &taken](HINTERNET handle) {
        return WinHttpReadData(handle, out, static_cast<DWORD>(limit_bytes), &taken);
      })) {
    return FailWithLastError();
  }
  received_bytes_ += taken;
  read_bytes = taken;
  return true;
}

TransferSteps WinHttpExchange::steps() const {
  zo_base::MutexLock lock(mutex_);
  return progress_.steps();
}

std::list<std::string> WinHttpExchange::addresses() const {
  zo_base::MutexLock lock(mutex_);
  return progress_.addresses();
}

// No exception may cross WinHTTP. Without memory, or handles for a mutex, the notification is lost.
void CALLBACK WinHttpExchange::OnStatus(HINTERNET /*handle*/, DWORD_PTR number, DWORD status,
                                        LPVOID information, DWORD /*size*/) {
  try {
    LiveExchange::Visit(number, [&status, &information](WinHttpExchange& exchange) {
      exchange.TakeStatus(status, information);
    });
  } catch (const std::exception&) {
    return;
  }
}

void WinHttpExchange::TakeStatus(DWORD status, const void* information) {
  switch (status) {
    case WINHTTP_CALLBACK_STATUS_RESOLVING_NAME:
    case WINHTTP_CALLBACK_STATUS_NAME_RESOLVED:
    case WINHTTP_CALLBACK_STATUS_CONNECTING_TO_SERVER:
      Note(status, information != nullptr ? static_cast<const wchar_t*>(information) : L"");
      break;
    case WINHTTP_CALLBACK_STATUS_RESPONSE_RECEIVED:
      // Also sent at the end of a connection: with 0 bytes, or -1 after a reset.
      if (information != nullptr && *static_cast<const int32_t*>(information) > 0) {
        Note(status, L"");
      }
      break;
    default:
      Note(status, L"");
      break;
  }
}

void WinHttpExchange::Note(DWORD status, std::wstring_view text) {
  zo_base::MutexLock lock(mutex_);
  progress_.OnStatus(status, text, plan_.url.is_https);
  if (status == WINHTTP_CALLBACK_STATUS_CONNECTED_TO_SERVER) {
    LimitStepLocked(plan_.time_outs.connect_ms);  // for TLS, of which WinHTTP bounds each read
  }
  if (status == WINHTTP_CALLBACK_STATUS_SENDING_REQUEST) {
    // The limit of the whole transfer begins here, so a server that reads the request slowly uses
    // it up like one that sends its answer slowly.
    deadline_ms_ = std::min(deadline_ms_, zo_base::Clock::MonotonicMs() + kMaxTransferMs);
    LimitStepLocked(0);
  }
  if (status == WINHTTP_CALLBACK_STATUS_REQUEST_SENT) {
    LimitStepLocked(plan_.time_outs.receive_ms);  // Wine waits for the first byte within Send
  }
}

void WinHttpExchange::LimitStep(int32_t limit_ms) {
  zo_base::MutexLock lock(mutex_);
  LimitStepLocked(limit_ms);
}

void WinHttpExchange::LimitStepLocked(int32_t limit_ms) {
  step_end_ms_ = limit_ms > 0 ? zo_base::Clock::MonotonicMs() + limit_ms : INT64_MAX;
  handle_.SetDeadline(std::min(step_end_ms_, deadline_ms_));
}

std::string WinHttpExchange::Query(DWORD what) {
  std::string text;
  handle_.Call([&text, what](HINTERNET handle) {
    text = QueryText(handle, what);
    return TRUE;
  });
  return text;
}

bool WinHttpExchange::FailWithLastError() {
  const DWORD error = GetLastError();
  zo_base::MutexLock lock(mutex_);
  // A call may end long after the limit that ended it.
  const bool is_of_step = error == ERROR_WINHTTP_OPERATION_CANCELLED && step_end_ms_ < deadline_ms_;
  const bool is_past_deadline = zo_base::Clock::MonotonicMs() >= deadline_ms_;
  return Fail(is_past_deadline && !is_of_step
                  ? TransferCause::kTooLong
                  : CauseOf(error, progress_.phase(), plan_.url.is_https));
}

bool WinHttpExchange::Fail(TransferCause cause) {
  cause_ = cause;
  return false;
}

bool WinHttpExchange::IsCutShort() const {
  return status_ != kNoContent && status_ != kNotModified &&
         received_bytes_ < content_length().value_or(0);
}

}  // namespace KRBASE::network::platform
