#include "network/platform/winhttp/winhttp_request.h"

#include <utility>

#include "base/platform/windows/wide_text.h"
#include "base/thread/clock.h"
#include "network/platform/redirect.h"

namespace KRBASE::network::platform {

WinHttpRequest::WinHttpRequest(HINTERNET session, TransferPlan plan)
    : session_(session), plan_(std::make_unique<TransferPlan>(std::move(plan))) {}

bool WinHttpRequest::Open(HINTERNET connection) {
  exchange_ = WinHttpExchange::Open(connection, *plan_);
  return exchange_ != nullptr;
}

void WinHttpRequest::AddOrReplaceHeaders(std::string_view header_text) {
  plan_->headers.AddOrReplace(header_text);
}

bool WinHttpRequest::Send(std::string_view extra_header_text, std::string_view body) {
  AddOrReplaceHeaders(extra_header_text);
  plan_->body = body;
  const bool is_sent = exchange_->Send();
  host_addresses_ = exchange_->addresses();
  return is_sent;
}

bool WinHttpRequest::ReceiveResponse() {
  for (int redirects = 0; exchange_->ReceiveHead(); ++redirects) {
    const int32_t status = exchange_->status();
    NextHop next_hop = NextHopOf(plan_->url, status, exchange_->head(), redirects);
    if (next_hop.is_final) {
      return true;
    }
    if (!next_hop.target.has_value()) {
      return Refuse(next_hop.refusal);
    }
    if (zo_base::Clock::MonotonicMs() >= exchange_->deadline_ms()) {
      return Refuse(TransferCause::kTooLong);
    }
    auto next_plan =
        std::make_unique<TransferPlan>(*plan_);  // the exchange still refers to its own
    Follow(*std::move(next_hop.target), status, *next_plan);
    if (!SendHop(std::move(next_plan))) {
      return false;
    }
  }
  return false;
}

bool WinHttpRequest::SendHop(std::unique_ptr<TransferPlan> plan) {
  WinHttpHandle connection(
      WinHttpConnect(session_, zo_base::Wide(plan->url.host).c_str(), plan->url.port, 0));
  if (connection == nullptr) {
    return Refuse(TransferCause::kBadUrl);
  }
  auto exchange = WinHttpExchange::Open(connection.get(), *plan);
  if (exchange == nullptr) {
    return Refuse(TransferCause::kOutOfMemory);
  }
  exchange->SetDeadline(exchange_->deadline_ms());
  exchange_ = std::move(exchange);
  // After the exchange that used the ones before.
  connection_ = std::move(connection);
  plan_ = std::move(plan);
  return exchange_->Send();
}

bool WinHttpRequest::QueryDataAvailable(size_t& available_bytes) {
  return exchange_->WaitForBody(available_bytes);
}

bool WinHttpRequest::ReadData(char* out, size_t limit_bytes, size_t& read_bytes) {
  return exchange_->ReadBody(out, limit_bytes, read_bytes);
}

bool WinHttpRequest::Refuse(TransferCause cause) {
  refusal_ = cause;
  return false;
}

}  // namespace KRBASE::network::platform
