#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>

#include "network/platform/winhttp/winhttp_cause.h"
#include "network/transfer_failure.h"

namespace KRBASE::network::platform {

// What WinHTTP tells of a request while it carries it out: how far the hop has come, how long each
// step took, and what the look-up gave.
// Threads: one at a time.
// Owner:   the request.
// Errors:  std::bad_alloc of OnStatus.
class TransferProgress {
 public:
  explicit TransferProgress(const std::string& host);

  // Takes one notification (WINHTTP_CALLBACK_STATUS_...) with its text, if it has one.
  void OnStatus(uint32_t status, std::wstring_view text, bool is_tls);
  void OnHead();

  [[nodiscard]] TransferPhase phase() const { return phase_; }
  // The steps of the last hop so far.
  [[nodiscard]] const TransferSteps& steps() const { return steps_; }
  [[nodiscard]] int redirects() const { return redirects_; }
  // When the first hop was connected, TLS included; on the monotonic clock.
  [[nodiscard]] std::optional<int64_t> first_connected_at_ms() const {
    return first_connected_at_ms_;
  }
  // The addresses of the first hop's host, as texts for reports.
  [[nodiscard]] const std::list<std::string>& addresses() const { return addresses_; }

 private:
  void OnNameResolved(std::wstring_view texts, int64_t now_ms);
  void OnSending(int64_t now_ms, bool is_tls);
  void OnRedirect();

  TransferPhase phase_ = TransferPhase::kConnecting;
  bool is_literal_ = false;  // the hop's host is an address, which needs no look-up
  TransferSteps steps_;
  int redirects_ = 0;
  int64_t step_began_at_ms_ = 0;
  int64_t connected_at_ms_ = 0;  // TLS included, once a part of the request has been sent
  std::optional<int64_t> first_connected_at_ms_;
  std::list<std::string> addresses_;
};

}  // namespace KRBASE::network::platform
