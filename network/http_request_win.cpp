#include "network/http_request_win.h"

#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "base/thread/clock.h"
#include "network/http_status.h"
#include "network/platform/exit_gate.h"
#include "network/transfer_failure.h"
#include "network/win_http.h"

namespace KRBASE::network {

namespace {

constexpr uint16_t kPoolSize = 12;
constexpr int32_t kSendTimeOutMs = 2000;
constexpr int32_t kReceiveTimeOutMs = 2000;

// Makes a pair of each line with exactly one colon. This leaves out the status line and each header
// whose value holds a colon. Values keep their leading blank.
HttpHeaderList HeaderPairs(std::string_view head) {
  HttpHeaderList pairs;
  while (!head.empty()) {
    const size_t end = head.find_first_of("\r\n");
    const std::string_view line = head.substr(0, end);
    head.remove_prefix(end == std::string_view::npos ? head.size() : end + 1);
    const size_t colon = line.find(':');
    if (colon != std::string_view::npos && line.find(':', colon + 1) == std::string_view::npos) {
      pairs.emplace_back(line.substr(0, colon), line.substr(colon + 1));
    }
  }
  return pairs;
}

// Blocks for the whole transfer. Sets `failure` if it fails. Throws std::bad_alloc.
std::shared_ptr<HttpResponse> Transfer(const HttpRequest& request,
                                       std::optional<TransferFailure>& failure) {
  CWinHttp http;
  for (const auto& [name, value] : request.headers) {
    http.AddHeader(name, value);
  }
  http.SetTimeOut(request.time_out, kSendTimeOutMs, kReceiveTimeOutMs);
  const std::string post_data(request.body.begin(), request.body.end());

  auto response = std::make_shared<HttpResponse>();
  response->body = http.Request(request.url, request.method, "", post_data);
  failure = http.GetFailure();
  response->success = http.GetStatusCode() == kStatusOk;
  response->host_addresses = http.GetHostAddresses();
  response->headers = HeaderPairs(http.GetHeaderText());
  response->status = http.GetStatusCode();
  return response;
}

}  // namespace

HttpRequestWin::~HttpRequestWin() {
  const platform::ScopedExitGateRefusal refusal;  // the pool joins workers that may sleep there
  pool.reset();
}

void HttpRequestWin::MakePool() {
  pool_made.Call([this] {
    platform::PrepareExitGate();  // before there are workers
    pool = std::make_shared<threadpool>(kPoolSize);
  });
}

void HttpRequestWin::Send(const std::shared_ptr<HttpRequest>& request, const Done& done) {
  // The empty answer is made here, since there may be no memory for it later.
  pool->commit([request, done, response = std::make_shared<HttpResponse>()]() mutable {
    const int64_t begin_ms = zo_base::Clock::MonotonicMs();
    std::optional<TransferFailure> failure;
    try {
      response = Transfer(*request, failure);
    } catch (const std::exception&) {
      // Fails like any other transfer, with the empty answer.
      failure = {TransferCause::kOutOfMemory};
    }
    if (failure.has_value()) {
      LogTransferFailure(request->url, *failure, zo_base::Clock::MonotonicMs() - begin_ms);
    }
    done(response);
  });
}

void HttpRequestWin::Cancel(uint64_t /*request_id*/) {}

void HttpRequestWin::CancelAll() {
  if (pool != nullptr) {
    pool->RequestStop();
  }
}

}  // namespace KRBASE::network
