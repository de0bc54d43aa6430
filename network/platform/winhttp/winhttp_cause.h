#pragma once

#include <cstdint>

#include "network/transfer_cause.h"

namespace KRBASE::network::platform {

// How far an exchange has come.
enum class TransferPhase {
  kConnecting,  // look-up and TLS included
  kSending,
  kWaiting,  // the request has been sent; nothing has come
  kInHead,
  kInBody,  // the head is complete
};

// Translates the system's error after a call of WinHTTP into the cause of the failure.
// Threads: any; pure.
// Errors:  none; a code that isn't in the table gets the cause that fits its phase best.
TransferCause CauseOf(uint32_t system_error, TransferPhase phase, bool is_tls);

}  // namespace KRBASE::network::platform
