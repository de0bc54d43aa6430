#pragma once

#include "network/platform/curl/curl_library.h"
#include "network/transfer_cause.h"

namespace KRBASE::network::platform {

// How far a transfer had come when it ended.
enum class TransferPhase {
  kConnecting,  // TLS included
  kWaiting,     // connected; no line of a head has come
  kInHead,
  kInBody,  // the head is complete
};

// Translates the result of libcurl, and the errno of the last system call that failed in it (0 if
// none did), into the cause of the failure. CURLE_OK is a failure in every phase but kInBody.
// Threads: any; pure.
// Errors:  none; a code that isn't in the tables gets the cause that fits its phase best.
TransferCause CauseOf(CURLcode code, int system_error, TransferPhase phase, bool is_tls);

}  // namespace KRBASE::network::platform
