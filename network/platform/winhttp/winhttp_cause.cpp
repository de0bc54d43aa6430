#include "network/platform/winhttp/winhttp_cause.h"

// First, since windows.h would bring the older Winsock.
#include <winsock2.h>

#include "network/platform/winhttp/winhttp_handle.h"

namespace KRBASE::network::platform {

namespace {

TransferCause OfTimeout(TransferPhase phase) {
  switch (phase) {
    case TransferPhase::kConnecting:
      return TransferCause::kConnectTimeout;
    case TransferPhase::kSending:
      return TransferCause::kSendFailed;
    case TransferPhase::kInBody:
      return TransferCause::kReadTimeout;
    default:
      return TransferCause::kHeadTimeout;
  }
}

// The connection was there and isn't any more.
TransferCause OfEnd(TransferPhase phase, bool is_tls) {
  switch (phase) {
    case TransferPhase::kConnecting:
      return is_tls ? TransferCause::kTlsFailed : TransferCause::kReset;
    case TransferPhase::kSending:
    case TransferPhase::kWaiting:
      return TransferCause::kReset;
    default:
      return TransferCause::kCutShort;
  }
}

}  // namespace

TransferCause CauseOf(uint32_t system_error, TransferPhase phase, bool is_tls) {
  switch (system_error) {
    case ERROR_WINHTTP_INVALID_URL:
    case ERROR_WINHTTP_UNRECOGNIZED_SCHEME:
      return TransferCause::kBadUrl;
    case ERROR_WINHTTP_NAME_NOT_RESOLVED:
      return TransferCause::kNameNotResolved;
    case ERROR_WINHTTP_CANNOT_CONNECT:  // WinHTTP doesn't tell a refusal from a missing route
    case WSAECONNREFUSED:
      return TransferCause::kRefused;
    case WSAENETUNREACH:
    case WSAEHOSTUNREACH:
    case WSAEACCES:
      return TransferCause::kUnreachable;
    case ERROR_WINHTTP_TIMEOUT:
    case ERROR_WINHTTP_OPERATION_CANCELLED:  // by the watch of the handle
    case WSAETIMEDOUT:
      return OfTimeout(phase);
    case ERROR_WINHTTP_SECURE_FAILURE:
    case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
    case ERROR_WINHTTP_SECURE_INVALID_CERT:
    case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
    case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
    case ERROR_WINHTTP_SECURE_INVALID_CA:
    case ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED:
      return TransferCause::kTlsFailed;
    case ERROR_WINHTTP_INVALID_SERVER_RESPONSE:  // also an end before the first byte
      return phase == TransferPhase::kWaiting ? TransferCause::kReset : TransferCause::kMalformed;
    case ERROR_WINHTTP_CHUNKED_ENCODING_HEADER_SIZE_OVERFLOW:
      return TransferCause::kMalformed;
    case ERROR_WINHTTP_HEADER_COUNT_EXCEEDED:
    case ERROR_WINHTTP_HEADER_SIZE_OVERFLOW:
    case ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW:
      return TransferCause::kTooLarge;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
    case ERROR_WINHTTP_OUT_OF_HANDLES:
    case ERROR_TOO_MANY_OPEN_FILES:
    case WSAEMFILE:
    case WSAENOBUFS:
      return TransferCause::kOutOfMemory;
    case ERROR_WINHTTP_SHUTDOWN:
      return TransferCause::kShutDown;
    default:  // ERROR_WINHTTP_CONNECTION_ERROR, WSAECONNRESET and others
      return OfEnd(phase, is_tls);
  }
}

}  // namespace KRBASE::network::platform
