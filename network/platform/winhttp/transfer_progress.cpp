#include "network/platform/winhttp/transfer_progress.h"

#include <algorithm>

#include "base/platform/windows/wide_text.h"
#include "base/thread/clock.h"
#include "net/ip_address.h"
#include "net/platform/resolver.h"
#include "network/platform/winhttp/winhttp_handle.h"

namespace KRBASE::network::platform {

TransferProgress::TransferProgress(const std::string& host) {
  if (net::IPBytes address; net::ParseIPLiteral(host, address)) {
    addresses_.push_back(net::ReportedAddress(address));
  }
}

void TransferProgress::OnStatus(uint32_t status, std::wstring_view text, bool is_tls) {
  const int64_t now_ms = zo_base::Clock::MonotonicMs();
  switch (status) {
    case WINHTTP_CALLBACK_STATUS_RESOLVING_NAME:
      is_literal_ = net::IsIPLiteral(zo_base::Utf8(text));
      name_began_at_ms_ = now_ms;
      break;
    case WINHTTP_CALLBACK_STATUS_CONNECTING_TO_SERVER:
      connect_began_at_ms_ = connect_began_at_ms_.value_or(now_ms);
      AddAddresses(text);
      break;
    case WINHTTP_CALLBACK_STATUS_NAME_RESOLVED:
      steps_.name_ms = is_literal_ ? steps_.name_ms : now_ms - name_began_at_ms_;
      AddAddresses(text);
      break;
    case WINHTTP_CALLBACK_STATUS_CONNECTED_TO_SERVER:
      steps_.connect_ms = now_ms - connect_began_at_ms_.value_or(now_ms);
      connected_at_ms_ = now_ms;
      break;
    case WINHTTP_CALLBACK_STATUS_SENDING_REQUEST:
      OnSending(now_ms, is_tls);
      break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_SENT:
      phase_ = TransferPhase::kWaiting;
      break;
    case WINHTTP_CALLBACK_STATUS_RESPONSE_RECEIVED:
      phase_ = phase_ == TransferPhase::kWaiting ? TransferPhase::kInHead : phase_;
      break;
    default:
      break;
  }
}

void TransferProgress::OnHead() {
  phase_ = TransferPhase::kInBody;
  steps_.head_ms = zo_base::Clock::MonotonicMs() - connected_at_ms_;
}

// The text has one address, or several with semicolons between them. The documentation of a
// look-up's end speaks of a name, so the addresses that are tried count too.
void TransferProgress::AddAddresses(std::wstring_view texts) {
  while (!texts.empty()) {
    const size_t end = texts.find(L';');
    net::IPBytes bytes;
    if (net::ParseIPLiteral(zo_base::Utf8(texts.substr(0, end)), bytes)) {
      const std::string address = net::ReportedAddress(bytes);
      if (std::find(addresses_.begin(), addresses_.end(), address) == addresses_.end()) {
        addresses_.push_back(address);
      }
    }
    texts.remove_prefix(end == std::wstring_view::npos ? texts.size() : end + 1);
  }
}

void TransferProgress::OnSending(int64_t now_ms, bool is_tls) {
  if (phase_ != TransferPhase::kConnecting) {
    return;  // a further part of the request
  }
  phase_ = TransferPhase::kSending;
  if (is_tls) {
    steps_.tls_ms = now_ms - connected_at_ms_;
  }
  connected_at_ms_ = now_ms;
}

}  // namespace KRBASE::network::platform
