#include "network/platform/http_handles.h"

#include "base/thread/clock.h"
#include "net/ip_address.h"
#include "net/platform/resolver.h"
#include "network/platform/curl/curl_library.h"
#include "network/platform/curl/curl_transfer.h"
#include "network/platform/exit_gate.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

bool IsRedirect(int32_t status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// As browsers do it: a POST stays one only after 307 and 308.
bool BecomesGet(int32_t status, HttpMethod method) {
  return status == 303 || (method == kHttpMethodPost && (status == 301 || status == 302));
}

}  // namespace

std::unique_ptr<HttpSession> HttpSession::Open(std::string agent) {
  LoadCurl();
  return std::unique_ptr<HttpSession>(new HttpSession(std::move(agent)));
}

std::unique_ptr<HttpConnection> HttpConnection::Open(const HttpSession& session,
                                                     const std::string& host, uint16_t port) {
  if (host.empty() || port == 0) {
    return nullptr;
  }
  return std::unique_ptr<HttpConnection>(new HttpConnection(session, host, port));
}

std::unique_ptr<HttpRequestHandle> HttpRequestHandle::Open(const HttpConnection& connection,
                                                           HttpMethod method,
                                                           const std::string& target,
                                                           bool is_secure) {
  std::unique_ptr<HttpRequestHandle> request(new HttpRequestHandle());
  TransferPlan& plan = request->plan_;
  plan.url = {is_secure, connection.host(), connection.port(), target};
  plan.method = method;
  plan.agent = connection.session().agent();
  plan.time_outs = connection.session().time_outs();
  return request;
}

HttpRequestHandle::~HttpRequestHandle() = default;

void HttpRequestHandle::AddOrReplaceHeaders(std::string_view header_text) {
  plan_.headers.AddOrReplace(header_text);
}

bool HttpRequestHandle::Send(std::string_view extra_header_text, std::string_view body) {
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

bool HttpRequestHandle::SendHop() {
  steps_ = {};
  if (!ResolveHost()) {
    return Fail(TransferCause::kNameNotResolved);
  }
  transfer_ = std::make_unique<CurlTransfer>(plan_);
  transfer_->SetDeadline(deadline_ms_);
  return transfer_->Send();
}

bool HttpRequestHandle::ResolveHost() {
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

bool HttpRequestHandle::ReceiveResponse() {
  if (transfer_ == nullptr) {
    return false;
  }
  deadline_ms_ = transfer_->deadline_ms();
  for (int redirects = 0; transfer_->ReceiveHead(); ++redirects) {
    const NextHop next_hop = PrepareNextHop();
    if (next_hop == NextHop::kNone) {
      return true;
    }
    if (next_hop == NextHop::kUnusable) {
      return Fail(IsExitGateClosed() ? TransferCause::kShutDown : TransferCause::kBadUrl);
    }
    if (redirects == kMaxRedirects) {
      return Fail(TransferCause::kTooManyRedirects);
    }
    if (zo_base::Clock::MonotonicMs() >= deadline_ms_) {
      return Fail(TransferCause::kTooLong);
    }
    if (!SendHop()) {
      return false;
    }
  }
  return false;
}

HttpRequestHandle::NextHop HttpRequestHandle::PrepareNextHop() {
  const int32_t status = transfer_->status();
  if (!IsRedirect(status)) {
    return NextHop::kNone;
  }
  const std::string location = HeaderValue(transfer_->head(), "Location");
  if (location.empty()) {
    return NextHop::kNone;
  }
  std::optional<HttpUrl> target = ResolveLocation(plan_.url, location);
  if (target.has_value() && plan_.url.is_https && !target->is_https) {
    return NextHop::kNone;
  }
  steps_ = steps();
  transfer_.reset();  // before the plan that it refers to changes
  if (!target.has_value()) {
    return NextHop::kUnusable;
  }
  plan_.url = *std::move(target);
  plan_.headers.Remove("Host");
  if (BecomesGet(status, plan_.method)) {
    plan_.method = kHttpMethodGet;
    plan_.body = {};
    plan_.headers.Remove("Content-Type");
  }
  return NextHop::kPrepared;
}

const std::string& HttpRequestHandle::raw_headers() const {
  return transfer_->head();
}

int32_t HttpRequestHandle::status() const {
  return transfer_->status();
}

std::optional<int64_t> HttpRequestHandle::content_length() const {
  const int64_t length = transfer_->content_length();
  return length >= 0 ? std::optional(length) : std::nullopt;
}

bool HttpRequestHandle::QueryDataAvailable(size_t& available_bytes) {
  available_bytes = 0;
  if (transfer_ == nullptr || !transfer_->WaitForBody()) {
    return false;
  }
  available_bytes = transfer_->received_bytes();
  return true;
}

size_t HttpRequestHandle::ReadData(char* out, size_t limit_bytes) {
  return transfer_ == nullptr ? 0 : transfer_->TakeBody(out, limit_bytes);
}

TransferCause HttpRequestHandle::cause() const {
  return transfer_ != nullptr ? transfer_->cause() : cause_;
}

TransferSteps HttpRequestHandle::steps() const {
  TransferSteps steps = transfer_ != nullptr ? transfer_->steps() : steps_;
  steps.name_ms = steps_.name_ms;
  return steps;
}

bool HttpRequestHandle::Fail(TransferCause cause) {
  cause_ = cause;
  return false;
}

}  // namespace KRBASE::network::platform
