#pragma once

#include <cstddef>
#include <cstdint>

#include "base/built_in_values.h"

// The bounds that hold whatever a server does. Certificates aren't checked, so anybody may be
// that server.
namespace KRBASE::network::platform {

// The body of an answer, but for downloads, is read up to here; one byte more and the read fails.
inline constexpr size_t kMaxBodyBytes = zo_sturdy::kMaxBodyBytes;
// From the end of the first connect (TLS included) to the last read, over all redirects.
inline constexpr int64_t kMaxTransferMs = zo_sturdy::kMaxTransferMs;
// All heads of one hop, 1xx included. Real ones have a few KiB; libcurl bounds a line, not a head.
inline constexpr size_t kMaxHeadBytes = 65536;
// How many are followed; the next one fails the transfer.
inline constexpr int kMaxRedirects = 10;
// What may lie received and unread. A reader takes 8 KiB at a time, libcurl gives 16 KiB.
inline constexpr size_t kReceiveBufferBytes = 65536;
// How long the end of the process waits for threads to come out of libcurl; a step takes
// milliseconds, so only a suspended thread takes longer.
inline constexpr int64_t kExitGateWaitMs = 2000;
// How long after that transfers stand still, and then fail.
inline constexpr int64_t kExitGateSleepMs = 2000;

}  // namespace KRBASE::network::platform
