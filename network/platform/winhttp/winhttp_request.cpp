#include "network/platform/winhttp/winhttp_request.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/decimal.h"
#include "base/platform/windows/wide_text.h"
#include "base/thread/clock.h"
#include "net/url.h"
#include "network/platform/header_lines.h"
#include "network/platform/http_url.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

constexpr DWORD kIgnoredCertificateErrors = SECURITY_FLAG_IGNORE_UNKNOWN_CA |
                                            SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
                                            SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
static_assert(kIgnoredCertificateErrors == 0x3100);

constexpr int32_t kNoContent = 204;
constexpr int32_t kNotModified = 304;
constexpr int32_t kTemporaryRedirect = 307;  // these two keep a POST
constexpr int32_t kPermanentRedirect = 308;

// The lines that may be sent, in WinHTTP's form: it refuses the whole text if a name ends in a
// blank, and a blank value would remove the header.
std::wstring WideHeaders(std::string_view header_text) {
  HeaderLines headers;
  headers.AddOrReplace(header_text);
  std::string text;
  for (const HeaderLines::Line& line : headers.lines()) {
    if (line.value.find_first_not_of(" \t") != std::string::npos) {
      text.append(line.name).append(":").append(line.value).append("\r\n");
    }
  }
  return zo_base::Wide(text);
}

// A limit for the next hop of a transfer that has so much time left. 0 would be no limit.
int32_t Within(int64_t left_ms, int32_t limit_ms) {
  const int64_t within_ms = limit_ms > 0 ? std::min<int64_t>(left_ms, limit_ms) : left_ms;
  return static_cast<int32_t>(std::max<int64_t>(within_ms, 1));
}

std::string HostLine(const HttpUrl& url) {
  std::string line = "Host: " + url.host;
  if (url.port != url::DefaultPort(url.is_https)) {
    line.append(":").append(std::to_string(url.port));
  }
  return line.append("\r\n");
}

bool AddHeaders(HINTERNET handle, const std::wstring& lines) {
  return WinHttpAddRequestHeaders(handle, lines.c_str(), static_cast<DWORD>(lines.size()),
                                  WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE) != FALSE;
}

// Removes a header if it is there.
void Remove(HINTERNET handle, const wchar_t* line) {
  WinHttpAddRequestHeaders(handle, line, static_cast<DWORD>(-1), WINHTTP_ADDREQ_FLAG_REPLACE);
}

}  // namespace

WinHttpRequest::WinHttpRequest(WinHttpHandle handle, HttpUrl url, const TransferTimeOuts& time_outs)
    : time_outs_(time_outs),
      has_zero_in_host_(url.host.find('\0') != std::string::npos),
      hop_(std::move(url)),
      progress_(hop_.host),
      handle_(std::move(handle)) {}

WinHttpRequest::~WinHttpRequest() {
  WinHttpSetStatusCallback(handle_.get(), nullptr, WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS, 0);
}

bool WinHttpRequest::SetOptions() {
  WINHTTP_PROXY_INFO no_proxy{};
  no_proxy.dwAccessType = WINHTTP_ACCESS_TYPE_NO_PROXY;
  const WINHTTP_STATUS_CALLBACK previous = WinHttpSetStatusCallback(
      handle_.get(), &WinHttpRequest::OnStatus, WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS, 0);
  return previous != WINHTTP_INVALID_STATUS_CALLBACK &&
         WinHttpSetOption(handle_.get(), WINHTTP_OPTION_PROXY, &no_proxy, sizeof(no_proxy)) &&
         SetOption(handle_.get(), WINHTTP_OPTION_DISABLE_FEATURE,
                   WINHTTP_DISABLE_COOKIES | WINHTTP_DISABLE_AUTHENTICATION |
                       WINHTTP_DISABLE_KEEP_ALIVE) &&
         SetOption(handle_.get(), WINHTTP_OPTION_REDIRECT_POLICY,
                   WINHTTP_OPTION_REDIRECT_POLICY_DISALLOW_HTTPS_TO_HTTP) &&
         SetOption(handle_.get(), WINHTTP_OPTION_MAX_HTTP_AUTOMATIC_REDIRECTS, kMaxRedirects);
}

void WinHttpRequest::IgnoreCertificateErrors() {
  SetOption(handle_.get(), WINHTTP_OPTION_SECURITY_FLAGS, kIgnoredCertificateErrors);
}

void WinHttpRequest::AddOrReplaceHeaders(std::string_view header_text) {
  AddHeaders(handle_.get(), WideHeaders(header_text));
}

bool WinHttpRequest::Send(std::string_view extra_header_text, std::string_view body) {
  if (body.size() > MAXDWORD) {
    return Fail(TransferCause::kOutOfMemory);
  }
  if (has_zero_in_host_) {
    return Fail(TransferCause::kNameNotResolved);  // WinHTTP would look up the text before it
  }
  // WinHTTP only reads the body, in spite of the parameter's type.
  const std::wstring extra = WideHeaders(extra_header_text);
  const auto body_bytes = static_cast<DWORD>(body.size());
  const BOOL is_sent = WinHttpSendRequest(
      handle_.get(), extra.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : extra.c_str(),
      static_cast<DWORD>(extra.size()),
      body.empty() ? WINHTTP_NO_REQUEST_DATA : const_cast<char*>(body.data()), body_bytes,
      body_bytes, reinterpret_cast<DWORD_PTR>(this));
  const bool result = is_sent != FALSE || FailWithLastError();
  zo_base::MutexLock lock(mutex_);
  host_addresses_ = progress_.addresses();
  return result;
}

bool WinHttpRequest::ReceiveResponse() {
  if (!WinHttpReceiveResponse(handle_.get(), nullptr)) {
    return FailWithLastError();
  }
  raw_headers_ = Query(WINHTTP_QUERY_RAW_HEADERS_CRLF);
  if (raw_headers_.size() > kMaxHeadBytes) {
    return Fail(TransferCause::kTooLarge);
  }
  zo_base::MutexLock lock(mutex_);
  progress_.OnHead();
  return true;
}

int32_t WinHttpRequest::status() const {
  return zo_base::LeadingDigits<int32_t>(Query(WINHTTP_QUERY_STATUS_CODE));
}

std::optional<int64_t> WinHttpRequest::content_length() const {
  return zo_base::WholeNumber<int64_t>(Query(WINHTTP_QUERY_CONTENT_LENGTH));
}

bool WinHttpRequest::QueryDataAvailable(size_t& available_bytes) {
  available_bytes = 0;
  if (IsPastDeadline()) {
    return Fail(TransferCause::kTooLong);
  }
  DWORD available = 0;
  if (!WinHttpQueryDataAvailable(handle_.get(), &available)) {
    return FailWithLastError();
  }
  if (available == 0 && IsCutShort()) {
    return Fail(TransferCause::kCutShort);
  }
  available_bytes = available;
  return true;
}

bool WinHttpRequest::ReadData(char* out, size_t limit_bytes, size_t& read_bytes) {
  read_bytes = 0;
  DWORD taken = 0;
  if (!WinHttpReadData(handle_.get(), out, static_cast<DWORD>(limit_bytes), &taken)) {
    return FailWithLastError();
  }
  received_bytes_ += taken;
  read_bytes = taken;
  return true;
}

TransferSteps WinHttpRequest::steps() const {
  zo_base::MutexLock lock(mutex_);
  return progress_.steps();
}

// No exception may cross WinHTTP. Without memory the addresses of the look-up are lost, or the next
// hop gets the Host header of the one before.
void CALLBACK WinHttpRequest::OnStatus(HINTERNET handle, DWORD_PTR self, DWORD status,
                                       LPVOID information, DWORD /*size*/) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): WinHTTP keeps our pointer as a number
  auto* const request = reinterpret_cast<WinHttpRequest*>(self);
  if (request == nullptr) {
    return;  // of a call before Send
  }
  try {
    switch (status) {
      case WINHTTP_CALLBACK_STATUS_RESOLVING_NAME:
      case WINHTTP_CALLBACK_STATUS_NAME_RESOLVED:
        request->Note(status,
                      information != nullptr ? static_cast<const wchar_t*>(information) : L"");
        break;
      case WINHTTP_CALLBACK_STATUS_RESPONSE_RECEIVED:
        // Also sent at the end of a connection: with 0 bytes, or -1 after a reset.
        if (information != nullptr && *static_cast<const int32_t*>(information) > 0) {
          request->Note(status, L"");
        }
        break;
      case WINHTTP_CALLBACK_STATUS_REDIRECT:
        request->OnRedirect(
            handle, information != nullptr ? static_cast<const wchar_t*>(information) : L"");
        request->Note(status, L"");
        break;
      default:
        request->Note(status, L"");
        break;
    }
  } catch (const std::bad_alloc&) {
    return;
  }
}

void WinHttpRequest::Note(DWORD status, std::wstring_view text) {
  zo_base::MutexLock lock(mutex_);
  progress_.OnStatus(status, text, hop_.is_https);
}

// Gives the next hop its own Host header and what is left of the transfer's time. The text is a
// URL, or a path on the present server.
void WinHttpRequest::OnRedirect(HINTERNET handle, std::wstring_view text) {
  const int32_t answer = status();
  std::string host_line;
  int64_t left_ms = 0;
  {
    zo_base::MutexLock lock(mutex_);
    hop_ = CrackUrl(zo_base::Utf8(text), SIZE_MAX, SIZE_MAX).value_or(hop_);
    host_line = HostLine(hop_);
    left_ms = DeadlineLocked() - zo_base::Clock::MonotonicMs();
  }
  AddHeaders(handle, zo_base::Wide(host_line));
  if (answer != kTemporaryRedirect && answer != kPermanentRedirect) {
    Remove(handle, L"Content-Type:");  // the next hop has no body
    Remove(handle, L"Content-Length:");
  }
  SetTimeOutsOf(handle,
                {Within(left_ms, time_outs_.connect_ms), Within(left_ms, time_outs_.send_ms),
                 Within(left_ms, time_outs_.receive_ms)});
}

std::string WinHttpRequest::Query(DWORD what) const {
  DWORD size_bytes = 0;
  WinHttpQueryHeaders(handle_.get(), what, WINHTTP_HEADER_NAME_BY_INDEX, nullptr, &size_bytes,
                      WINHTTP_NO_HEADER_INDEX);
  std::wstring text(size_bytes / sizeof(wchar_t), L'\0');
  if (text.empty() || !WinHttpQueryHeaders(handle_.get(), what, WINHTTP_HEADER_NAME_BY_INDEX,
                                           text.data(), &size_bytes, WINHTTP_NO_HEADER_INDEX)) {
    return "";
  }
  return zo_base::Utf8(text.c_str());
}

bool WinHttpRequest::FailWithLastError() {
  const DWORD error = GetLastError();
  if (IsPastDeadline()) {
    return Fail(TransferCause::kTooLong);
  }
  zo_base::MutexLock lock(mutex_);
  // WinHTTP reports each redirect that it doesn't follow like this.
  if (error == ERROR_WINHTTP_REDIRECT_FAILED && progress_.redirects() < kMaxRedirects) {
    return Fail(TransferCause::kBadUrl);
  }
  return Fail(CauseOf(error, progress_.phase(), hop_.is_https));
}

bool WinHttpRequest::Fail(TransferCause cause) {
  cause_ = cause;
  return false;
}

bool WinHttpRequest::IsPastDeadline() const {
  zo_base::MutexLock lock(mutex_);
  return zo_base::Clock::MonotonicMs() >= DeadlineLocked();
}

int64_t WinHttpRequest::DeadlineLocked() const {
  const std::optional<int64_t> begun_at_ms = progress_.first_connected_at_ms();
  return begun_at_ms.has_value() ? *begun_at_ms + kMaxTransferMs : INT64_MAX;
}

bool WinHttpRequest::IsCutShort() const {
  const int32_t answer = status();
  return answer != kNoContent && answer != kNotModified &&
         received_bytes_ < content_length().value_or(0);
}

}  // namespace KRBASE::network::platform
