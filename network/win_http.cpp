#include "network/win_http.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "base/platform/file.h"
#include "network/platform/exit_gate.h"
#include "network/platform/http_url.h"
#include "network/platform/transfer_limits.h"

using KRBASE::network::HttpInterfaceError;
using KRBASE::network::HttpMethod;
using KRBASE::network::HttpMethodOf;
using KRBASE::network::kHttpConnectFailed;
using KRBASE::network::kHttpFileFailed;
using KRBASE::network::kHttpMethodGet;
using KRBASE::network::kHttpNameNotResolved;
using KRBASE::network::kHttpNotFound;
using KRBASE::network::kHttpOpenFailed;
using KRBASE::network::kHttpQueryFailed;
using KRBASE::network::kHttpReadFailed;
using KRBASE::network::kHttpSendFailed;
using KRBASE::network::kHttpTooLarge;
using KRBASE::network::TransferCause;
using KRBASE::network::TransferSteps;
using KRBASE::network::platform::CrackUrl;
using KRBASE::network::platform::HttpSession;
using KRBASE::network::platform::HttpUrl;
using KRBASE::network::platform::IsExitGateClosed;
using KRBASE::network::platform::kMaxBodyBytes;

namespace {

constexpr const char* kAgent = "sturdy_comp";
// A host, or a path with its query, of this length or more is refused.
constexpr size_t kHostBufferLength = 260;
constexpr size_t kPathBufferLength = 1300;
constexpr size_t kReadBufferBytes = 8192;
constexpr int64_t kMaxDownloadToMemoryBytes = 8388608;

}  // namespace

CWinHttp::CWinHttp() {
  OpenSession();
}

CWinHttp::~CWinHttp() {
  CloseHandles();
}

bool CWinHttp::Fail(HttpInterfaceError reason) {
  error = reason;
  return false;
}

bool CWinHttp::FailTransfer(HttpInterfaceError reason, TransferCause cause,
                            const std::string& refusal) {
  failure = {cause, request != nullptr ? request->steps() : TransferSteps(), refusal};
  return Fail(reason);
}

void CWinHttp::CloseHandles() {
  request.reset();
  connection.reset();
  session.reset();
}

bool CWinHttp::OpenSession() {
  try {
    session = HttpSession::Open(kAgent);
  } catch (const std::runtime_error& refusal) {
    const bool is_exiting = IsExitGateClosed();
    return FailTransfer(kHttpOpenFailed,
                        is_exiting ? TransferCause::kShutDown : TransferCause::kNotAvailable,
                        refusal.what());
  }
  session->SetTimeOuts({connect_time_out, send_time_out, receive_time_out});
  return true;
}

bool CWinHttp::OpenRequest(const std::string& url, HttpMethod method,
                           const std::string& extra_headers, std::string_view post_data) {
  CloseHandles();
  if (!OpenSession()) {
    return false;
  }
  // A refused URL leaves the host empty, and no connection opens without a host.
  const HttpUrl cracked = CrackUrl(url, kHostBufferLength, kPathBufferLength).value_or(HttpUrl());
  is_https = cracked.is_https;
  connection = session->OpenConnection(cracked.host, cracked.port);
  if (connection == nullptr) {
    return FailTransfer(kHttpConnectFailed, TransferCause::kBadUrl);
  }
  request = connection->OpenRequest(method, cracked.target, is_https);
  if (request == nullptr) {
    return FailTransfer(kHttpOpenFailed, TransferCause::kOutOfMemory);
  }
  // For a plain URL too: it may be redirected to https.
  request->IgnoreCertificateErrors();
  request->AddOrReplaceHeaders(header.ToText());
  if (!request->Send(extra_headers, post_data)) {
    const bool is_unnamed = request->cause() == TransferCause::kNameNotResolved;
    return FailTransfer(is_unnamed ? kHttpNameNotResolved : kHttpSendFailed, request->cause());
  }
  return request->ReceiveResponse() || FailTransfer(kHttpOpenFailed, request->cause());
}

CWinHttp::ReadResult CWinHttp::ReadBlocks(const TakeBlock& take) {
  std::array<char, kReadBufferBytes> buffer;
  for (bool is_first = true;; is_first = false) {
    size_t available_bytes = 0;
    if (!request->QueryDataAvailable(available_bytes)) {
      return is_first ? ReadResult::kQueryFailed : ReadResult::kReadFailed;
    }
    if (available_bytes == 0) {
      return ReadResult::kComplete;
    }
    size_t read_bytes = 0;
    if (!request->ReadData(buffer.data(), std::min(available_bytes, buffer.size()), read_bytes)) {
      return ReadResult::kReadFailed;
    }
    if (!take(std::string_view(buffer.data(), read_bytes))) {
      return ReadResult::kRefused;
    }
  }
}

std::string CWinHttp::Request(const std::string& url, int32_t method,
                              const std::string& extra_headers, const std::string& post_data) {
  body.clear();
  header_text.clear();
  status = 0;
  failure.reset();
  const std::string_view text_to_post = post_data.c_str();
  if (!OpenRequest(url, HttpMethodOf(method), extra_headers, text_to_post)) {
    return body;
  }
  header_text = request->raw_headers();
  status = request->status();
  const ReadResult result = ReadBlocks([this](std::string_view block) {
    body.append(block);
    return body.size() <= kMaxBodyBytes;
  });
  if (result != ReadResult::kComplete) {
    FailTransfer(result == ReadResult::kQueryFailed ? kHttpQueryFailed : kHttpReadFailed,
                 result == ReadResult::kRefused ? TransferCause::kTooLarge : request->cause());
    body.clear();
  }
  return body;
}

std::optional<int64_t> CWinHttp::OpenDownload(const std::string& url) {
  if (!OpenRequest(url, kHttpMethodGet, "", "")) {
    return std::nullopt;
  }
  const std::optional<int64_t> length = request->content_length();
  if (!length.has_value()) {
    Fail(kHttpQueryFailed);
    return std::nullopt;
  }
  if (request->raw_headers().find("404") != std::string::npos) {
    Fail(kHttpNotFound);
    return std::nullopt;
  }
  return length;
}

bool CWinHttp::DownloadFile(const std::string& url, const std::string& file_path) {
  const std::optional<int64_t> total_bytes = OpenDownload(url);
  if (!total_bytes.has_value()) {
    return false;
  }
  // Replace the file.
  zo_base::RemoveFile(file_path);
  zo_base::File file(file_path, zo_base::File::Mode::kWriteNew);
  if (!file.IsOpen()) {
    return Fail(kHttpFileFailed);
  }
  // Write each block and report the progress.
  int64_t received_bytes = 0;
  const ReadResult result = ReadBlocks([&](std::string_view block) {
    if (!file.Write(block)) {
      return false;
    }
    received_bytes += static_cast<int64_t>(block.size());
    if (callback != nullptr) {
      callback(user_value, received_bytes, *total_bytes);
    }
    return true;
  });
  if (result == ReadResult::kComplete && received_bytes == *total_bytes) {
    return true;
  }
  // Delete what is incomplete.
  zo_base::RemoveFile(file_path);
  if (result == ReadResult::kRefused) {
    return Fail(kHttpFileFailed);
  }
  return Fail(result == ReadResult::kQueryFailed ? kHttpQueryFailed : kHttpReadFailed);
}

bool CWinHttp::DownloadToMemory(const std::string& url, std::unique_ptr<char[]>& buffer,
                                int32_t& size_bytes) {
  const std::optional<int64_t> total_bytes = OpenDownload(url);
  if (!total_bytes.has_value()) {
    return false;
  }
  if (*total_bytes > kMaxDownloadToMemoryBytes) {
    return Fail(kHttpTooLarge);
  }
  const auto capacity_bytes = static_cast<size_t>(*total_bytes);
  auto memory = std::make_unique<char[]>(capacity_bytes);
  size_t received_bytes = 0;
  const ReadResult result = ReadBlocks([&](std::string_view block) {
    if (block.size() > capacity_bytes - received_bytes) {
      return false;
    }
    std::copy(block.begin(), block.end(), memory.get() + received_bytes);
    received_bytes += block.size();
    return true;
  });
  if (result != ReadResult::kComplete || received_bytes != capacity_bytes) {
    return Fail(result == ReadResult::kQueryFailed ? kHttpQueryFailed : kHttpReadFailed);
  }
  buffer = std::move(memory);
  size_bytes = static_cast<int32_t>(received_bytes);
  return true;
}

void CWinHttp::SetDownloadCallback(HttpDownloadCallback new_callback, void* new_user_value) {
  callback = new_callback;
  user_value = new_user_value;
}

void CWinHttp::FreeInstance() {
  delete this;
}

HttpInterfaceError CWinHttp::GetErrorCode() const {
  return error;
}

void CWinHttp::AddHeader(const std::string& name, const std::string& value) {
  header.Add(name, value);
}

std::string CWinHttp::GetHeaderText() const {
  return header_text;
}

std::string CWinHttp::GetBody() const {
  return body;
}

int32_t CWinHttp::GetBodySize() const {
  return static_cast<int32_t>(body.size());
}

int32_t CWinHttp::GetStatusCode() const {
  return status;
}

std::list<std::string> CWinHttp::GetHostAddresses() const {
  return request != nullptr ? request->host_addresses() : std::list<std::string>();
}

void CWinHttp::SetTimeOut(int32_t connect_ms, int32_t send_ms, int32_t receive_ms) {
  connect_time_out = connect_ms;
  send_time_out = send_ms;
  receive_time_out = receive_ms;
}
