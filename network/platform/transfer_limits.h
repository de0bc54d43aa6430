#pragma once

#include <cstddef>
#include <cstdint>

#include "base/built_in_values.h"

// Bounds that hold whatever a server does. Certificates aren't checked, so anybody may be that
// server.
namespace KRBASE::network::platform {

// A body of this length is the longest that an answer may have. Downloads have no such bound.
inline constexpr size_t kMaxBodyBytes = zo_sturdy::kMaxBodyBytes;
// From the end of the first connect (TLS included) to the last read, over all redirects.
inline constexpr int64_t kMaxTransferMs = zo_sturdy::kMaxTransferMs;
// For all heads of one answer, 1xx included. Real ones have a few KiB. libcurl bounds each line,
// but not their sum.
inline constexpr size_t kMaxHeadBytes = 65536;
// One redirect more fails the transfer.
inline constexpr int kMaxRedirects = 10;
// The longest wait between two calls of libcurl while it connects. It gives up a dead address and
// tries the next one only when it is called, and it sets no timer for that.
inline constexpr int64_t kConnectPollMs = 100;
// How long a call of WinHTTP has lasted before its handle may be closed. One that has just begun
// may not have looked the handle up; the number could be another's by then.
inline constexpr int64_t kUndisturbedCallMs = 1000;
// For received bytes that haven't been read. A reader takes 8 KiB at a time, libcurl delivers 16
// KiB.
inline constexpr size_t kReceiveBufferBytes = 65536;
// How long the exit of the process waits for threads inside libcurl. A thread is inside for
// milliseconds at a time, so only a suspended one takes longer.
inline constexpr int64_t kExitGateWaitMs = 2000;
// How long transfers sleep at the closed gate before they fail.
inline constexpr int64_t kExitGateSleepMs = 2000;

}  // namespace KRBASE::network::platform
