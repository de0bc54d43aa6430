#pragma once

#include <cstdint>
#include <string>

#include "network/transfer_cause.h"

namespace KRBASE::network {

// How long each step of a hop took. A hop is one exchange with one server: a redirect begins the
// next one.
struct TransferSteps {
  // Of a step that the hop didn't reach or didn't finish.
  static constexpr int64_t kNotFinished = -1;

  int64_t name_ms = kNotFinished;  // the look-up; an address needs none
  int64_t connect_ms = kNotFinished;
  int64_t tls_ms = kNotFinished;
  int64_t head_ms = kNotFinished;  // sending and the wait for the whole head
};

struct TransferFailure {
  TransferCause cause;
  TransferSteps steps = {};  // of the hop that failed
  std::string refusal = {};  // why no session could be opened; else empty
};

// Returns a URL as the line of a failed transfer shows it: in the form in which its host and path
// are sent, with its port, but without its user information, its query, which can hold a key, and
// its fragment. Has no blank.
std::string ShownUrl(const std::string& url);

// Writes the line of a failed transfer: the URL that was asked for, the cause, and the times.
// `took_ms` is the time of the whole transfer, redirects included. Writes the refusal, if there is
// one, in a line before it.
// Threads: any.
// Errors:  none; without memory the line is lost.
void LogTransferFailure(const std::string& url, const TransferFailure& failure,
                        int64_t took_ms) noexcept;

}  // namespace KRBASE::network
