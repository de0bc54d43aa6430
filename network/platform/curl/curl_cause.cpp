#include "network/platform/curl/curl_cause.h"

#include <cerrno>

namespace KRBASE::network::platform {

namespace {

// CURLE_TOO_LARGE. The headers of older versions lack it.
constexpr int kCurlTooLarge = 100;

bool IsLackOfMemory(int system_error) {
  return system_error == EMFILE || system_error == ENFILE || system_error == ENOBUFS ||
         system_error == ENOMEM;
}

TransferCause OfConnect(int system_error, bool is_tls) {
  switch (system_error) {
    case ECONNREFUSED:
      return TransferCause::kRefused;
    case ECONNRESET:  // the peer had accepted
      return is_tls ? TransferCause::kTlsFailed : TransferCause::kReset;
    case ETIMEDOUT:
      return TransferCause::kConnectTimeout;
    default:
      // No route, no address of our own, no such family, forbidden by the system.
      return IsLackOfMemory(system_error) ? TransferCause::kOutOfMemory
                                          : TransferCause::kUnreachable;
  }
}

// The connection was there and isn't any more.
TransferCause OfEnd(TransferPhase phase) {
  switch (phase) {
    case TransferPhase::kConnecting:
      return TransferCause::kUnreachable;
    case TransferPhase::kWaiting:
      return TransferCause::kReset;
    default:
      return TransferCause::kCutShort;
  }
}

}  // namespace

TransferCause CauseOf(CURLcode code, int system_error, TransferPhase phase, bool is_tls) {
  switch (static_cast<int>(code)) {
    case CURLE_URL_MALFORMAT:
      return TransferCause::kBadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
      return TransferCause::kNameNotResolved;
    case CURLE_COULDNT_CONNECT:
      return OfConnect(system_error, is_tls);
    case CURLE_OPERATION_TIMEDOUT:  // libcurl has no other limit than ours for connecting
      return TransferCause::kConnectTimeout;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_PEER_FAILED_VERIFICATION:
      return TransferCause::kTlsFailed;
    case CURLE_SEND_ERROR: {
      const bool is_reset = system_error == ECONNRESET || system_error == EPIPE;
      return is_reset ? OfEnd(phase) : TransferCause::kSendFailed;
    }
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:  // an answer of another protocol; ours is HTTP
    case CURLE_BAD_CONTENT_ENCODING:
      return TransferCause::kMalformed;
    case CURLE_RECV_ERROR:
      // Without a system's error, broken chunks. In TLS, the end without a notice has none either.
      return phase == TransferPhase::kInBody && !is_tls && system_error != ECONNRESET
                 ? TransferCause::kMalformed
                 : OfEnd(phase);
    case CURLE_FILESIZE_EXCEEDED:
    case kCurlTooLarge:
      return TransferCause::kTooLarge;
    case CURLE_OUT_OF_MEMORY:
      // Before version 8.6 also the code of a head with a line above libcurl's bound of 100 KiB,
      // which is more likely than that malloc fails there.
      return phase == TransferPhase::kConnecting || phase == TransferPhase::kInBody
                 ? TransferCause::kOutOfMemory
                 : TransferCause::kTooLarge;
    case CURLE_FAILED_INIT:
    case CURLE_NOT_BUILT_IN:
      return TransferCause::kNotAvailable;
    default:  // CURLE_OK, CURLE_GOT_NOTHING, CURLE_PARTIAL_FILE and others
      return OfEnd(phase);
  }
}

}  // namespace KRBASE::network::platform
