#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KRBASE::network {

// Why a transfer failed. The list is closed: each failed transfer has exactly one cause.
enum class TransferCause : uint8_t {
  kBadUrl,            // no http or https URL, or one that is too long; a redirect's target included
  kNameNotResolved,   // the look-up gave no address
  kRefused,           // the host answered that nobody listens on the port
  kUnreachable,       // the system has no route to the address, or may not use it
  kConnectTimeout,    // no connection, TLS included, within the request's limit
  kTlsFailed,         // the handshake failed, or the peer ended the connection in it
  kSendFailed,        // the peer took no part of the request for the send limit
  kHeadTimeout,       // the head of the answer wasn't complete within the receive limit
  kReadTimeout,       // no part of the body came for the receive limit
  kReset,             // the peer reset or closed the connection before the first line of the head
  kCutShort,          // the connection ended within the head or the body
  kTooLarge,          // the head or the body exceeds its bound
  kTooLong,           // the whole took more than kMaxTransferMs
  kTooManyRedirects,  // more than kMaxRedirects
  kMalformed,         // the answer is no HTTP
  kShutDown,          // the process is exiting
  kOutOfMemory,       // no memory, thread or descriptor was left
  kNotAvailable,      // the HTTP library can't be loaded, or lacks what a transfer needs
};

// The words of the log, in the order of the causes.
inline constexpr std::array<std::string_view, 18> kTransferCauseWords = {
    "bad_url",    "name_not_resolved", "refused",      "unreachable",        "connect_timeout",
    "tls_failed", "send_failed",       "head_timeout", "read_timeout",       "reset",
    "cut_short",  "too_large",         "too_long",     "too_many_redirects", "malformed",
    "shut_down",  "out_of_memory",     "not_available"};
static_assert(kTransferCauseWords.size() == static_cast<size_t>(TransferCause::kNotAvailable) + 1);

constexpr std::string_view WordOf(TransferCause cause) {
  return kTransferCauseWords[static_cast<size_t>(cause)];
}

}  // namespace KRBASE::network
