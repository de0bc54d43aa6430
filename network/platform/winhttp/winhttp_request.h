#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "network/platform/http_handles.h"
#include "network/platform/transfer_plan.h"
#include "network/platform/winhttp/winhttp_exchange.h"
#include "network/platform/winhttp/winhttp_handle.h"

namespace KRBASE::network::platform {

// A request over WinHTTP. Follows redirects itself: each hop is a WinHttpExchange.
class WinHttpRequest final : public HttpRequestHandle {
 public:
  // Requires: `session` outlives the request, and Open has returned true before it is used.
  WinHttpRequest(HINTERNET session, TransferPlan plan);

  // Opens the first hop. Returns false if WinHTTP opens no request.
  [[nodiscard]] bool Open(HINTERNET connection);

  void IgnoreCertificateErrors() override { plan_->ignore_certificate_errors = true; }
  void AddOrReplaceHeaders(std::string_view header_text) override;
  bool Send(std::string_view extra_header_text, std::string_view body) override;
  const std::list<std::string>& host_addresses() const override { return host_addresses_; }
  bool ReceiveResponse() override;
  const std::string& raw_headers() const override { return exchange_->head(); }
  int32_t status() const override { return exchange_->status(); }
  std::optional<int64_t> content_length() const override { return exchange_->content_length(); }
  bool QueryDataAvailable(size_t& available_bytes) override;
  bool ReadData(char* out, size_t limit_bytes, size_t& read_bytes) override;
  TransferCause cause() const override { return refusal_.value_or(exchange_->cause()); }
  TransferSteps steps() const override { return exchange_->steps(); }

 private:
  // Puts the hop of this plan in the place of the one before, and sends it.
  bool SendHop(std::unique_ptr<TransferPlan> plan);
  bool Refuse(TransferCause cause);  // returns false

  const HINTERNET session_;
  std::unique_ptr<TransferPlan> plan_;         // of the hop
  WinHttpHandle connection_;                   // of the hop, unless it is the first
  std::unique_ptr<WinHttpExchange> exchange_;  // refers to the plan and the connection
  std::optional<TransferCause> refusal_;       // a failure outside of an exchange
  std::list<std::string> host_addresses_;
};

}  // namespace KRBASE::network::platform
