#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "network/platform/http_handles.h"
#include "network/platform/transfer_plan.h"

namespace KRBASE::network::platform {

class CurlTransfer;

// A request over libcurl. Looks names up and follows redirects itself: each hop is a CurlTransfer.
// An answer that redirects from https to http is the final one.
class CurlRequest final : public HttpRequestHandle {
 public:
  explicit CurlRequest(TransferPlan plan);
  ~CurlRequest() override;

  void IgnoreCertificateErrors() override { plan_.ignore_certificate_errors = true; }
  void AddOrReplaceHeaders(std::string_view header_text) override;
  bool Send(std::string_view extra_header_text, std::string_view body) override;
  const std::list<std::string>& host_addresses() const override { return host_addresses_; }
  bool ReceiveResponse() override;
  const std::string& raw_headers() const override;
  int32_t status() const override;
  std::optional<int64_t> content_length() const override;
  bool QueryDataAvailable(size_t& available_bytes) override;
  bool ReadData(char* out, size_t limit_bytes, size_t& read_bytes) override;
  TransferCause cause() const override;
  TransferSteps steps() const override;

 private:
  // Sends the plan's request in place of the one before.
  bool SendHop();
  bool ResolveHost();
  bool Fail(TransferCause cause);  // returns false

  TransferPlan plan_;
  std::unique_ptr<CurlTransfer> transfer_;  // refers to the plan
  TransferCause cause_{};                   // of a failure outside of a transfer
  TransferSteps steps_;  // the look-up's; all of a hop that has ended in a redirect
  std::list<std::string> host_addresses_;
  int64_t deadline_ms_ = INT64_MAX;
};

}  // namespace KRBASE::network::platform
