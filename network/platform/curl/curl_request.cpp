#include "network/platform/curl/curl_request.h"

#include <utility>

#include "base/thread/clock.h"
#include "net/ip_address.h"
#include "net/platform/resolver.h"
#include "network/platform/curl/curl_transfer.h"
#include "network/platform/curl/exit_gate_guard.h"
#include "network/platform/redirect.h"

namespace KRBASE::network::platform {

CurlRequest::CurlRequest(TransferPlan plan) : plan_(std::move(plan)) {}

CurlRequest::~CurlRequest() = default;

void CurlRequest::AddOrReplaceHeaders(std::string_view header_text) {
  plan_.headers.AddOrReplace(header_text);
}

bool CurlRequest::Send(std::string_view extra_header_text, std::string_view body) {
  transfer_.reset();
  AddOrReplaceHeaders(extra_header_text);
  plan_.body = body;
  host_addresses_.clear();
  const bool is_sent = SendHop();
  for (const net::IPBytes& address : plan_.addresses) {
    host_addresses_.push_back(net::ReportedAddress(address));
  }
  return is_sent;
}

bool CurlRequest::SendHop() {
  steps_ = {};
  if (!ResolveHost()) {
    return Fail(TransferCause::kNameNotResolved);
  }
  transfer_ = std::make_unique<CurlTransfer>(plan_);
  transfer_->SetDeadline(deadline_ms_);
  return transfer_->Send();
}

bool CurlRequest::ResolveHost() {
  plan_.addresses.clear();
  net::IPBytes literal;
  if (net::ParseIPLiteral(plan_.url.host, literal)) {
    plan_.addresses.push_back(literal);
    return true;
  }
  const int64_t begin_ms = zo_base::Clock::MonotonicMs();
  net::ResolvedAddressList resolved;
  int system_error = 0;
  if (net::ResolveHostEndpoints(plan_.url.host, 0, net::kIPFamilyAny, resolved, system_error) !=
      net::kResolved) {
    return false;
  }
  steps_.name_ms = zo_base::Clock::MonotonicMs() - begin_ms;
  for (const net::IPEndpoint& endpoint : resolved.endpoints) {
    plan_.addresses.push_back(endpoint.address);
  }
  return !plan_.addresses.empty();
}

bool CurlRequest::ReceiveResponse() {
  if (transfer_ == nullptr) {
    return false;
  }
  deadline_ms_ = transfer_->deadline_ms();
  for (int redirects = 0; transfer_->ReceiveHead(); ++redirects) {
    const int32_t status = transfer_->status();
    NextHop next_hop = NextHopOf(plan_.url, status, transfer_->head(), redirects);
    if (next_hop.is_final) {
      return true;
    }
    steps_ = steps();
    transfer_.reset();  // before the plan that it refers to changes
    if (!next_hop.target.has_value()) {
      return Fail(next_hop.refusal);
    }
    if (zo_base::Clock::MonotonicMs() >= deadline_ms_) {
      return Fail(TransferCause::kTooLong);
    }
    if (const ExitGateGuard inside; !inside) {  // before the look-up, which the gate doesn't stop
      return Fail(TransferCause::kShutDown);
    }
    Follow(*std::move(next_hop.target), status, plan_);
    if (!SendHop()) {
      return false;
    }
  }
  return false;
}

const std::string& CurlRequest::raw_headers() const {
  return transfer_->head();
}

int32_t CurlRequest::status() const {
  return transfer_->status();
}

std::optional<int64_t> CurlRequest::content_length() const {
  const int64_t length = transfer_->content_length();
  return length >= 0 ? std::optional(length) : std::nullopt;
}

bool CurlRequest::QueryDataAvailable(size_t& available_bytes) {
  available_bytes = 0;
  if (transfer_ == nullptr || !transfer_->WaitForBody()) {
    return false;
  }
  available_bytes = transfer_->received_bytes();
  return true;
}

bool CurlRequest::ReadData(char* out, size_t limit_bytes, size_t& read_bytes) {
  read_bytes = transfer_ == nullptr ? 0 : transfer_->TakeBody(out, limit_bytes);
  return true;
}

TransferCause CurlRequest::cause() const {
  return transfer_ != nullptr ? transfer_->cause() : cause_;
}

TransferSteps CurlRequest::steps() const {
  TransferSteps steps = transfer_ != nullptr ? transfer_->steps() : steps_;
  steps.name_ms = steps_.name_ms;
  return steps;
}

bool CurlRequest::Fail(TransferCause cause) {
  cause_ = cause;
  return false;
}

}  // namespace KRBASE::network::platform
