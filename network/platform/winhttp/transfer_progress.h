#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>

#include "network/platform/winhttp/winhttp_cause.h"
#include "network/transfer_failure.h"

namespace KRBASE::network::platform {

// What WinHTTP tells of an exchange while it carries it out: how far it has come, how long each
// step took, and which addresses the host has.
// Threads: one at a time.
// Owner:   the exchange.
// Errors:  std::bad_alloc of OnStatus.
class TransferProgress {
 public:
  explicit TransferProgress(const std::string& host);

  // Takes one notification (WINHTTP_CALLBACK_STATUS_...) with its text, if it has one.
  void OnStatus(uint32_t status, std::wstring_view text, bool is_tls);
  void OnHead();

  [[nodiscard]] TransferPhase phase() const { return phase_; }
  // The steps so far.
  [[nodiscard]] const TransferSteps& steps() const { return steps_; }
  // The addresses of the host, as texts for reports.
  [[nodiscard]] const std::list<std::string>& addresses() const { return addresses_; }

 private:
  void AddAddresses(std::wstring_view texts);
  void OnSending(int64_t now_ms, bool is_tls);

  TransferPhase phase_ = TransferPhase::kConnecting;
  bool is_literal_ = false;  // the host is an address, which needs no look-up
  TransferSteps steps_;
  int64_t name_began_at_ms_ = 0;
  std::optional<int64_t> connect_began_at_ms_;  // of the first address
  int64_t connected_at_ms_ = 0;  // TLS included, once a part of the request has been sent
  std::list<std::string> addresses_;
};

}  // namespace KRBASE::network::platform
