#pragma once

#include <cstdint>

#include "sturdy/backoff.h"

namespace herd {

using Ms = int32_t;  // since the start of a run
inline constexpr Ms kMsPerSecond = 1000;

// A request on its way from URL to URL.
struct Request {
  uint16_t number = 0;  // of the newest; answers to an older one are ignored
  uint8_t sent = 0;     // URLs asked so far
  uint8_t in_flight = 0;
  bool under_way = false;
  bool waiting = false;  // the URL sent last has neither failed nor been silent for too long
};

// What a client sends requests for.
enum class Kind : uint8_t { kFetch, kUpdate };

// Where a fetch is: its URLs, then HTTP DNS for the addresses of their hosts, then the URLs there.
enum class Stage : uint8_t { kFirstPass, kHostQuery, kSecondPass };

// All that a simulation keeps of one client.
struct Client {
  explicit Client(const sturdy::Backoff& pauses) : backoff(pauses) {}

  sturdy::Backoff backoff;
  int32_t place = 0;         // of the next link server in the list
  int32_t defaults = 0;      // given out since a fetch was last asked for
  int32_t dns_failures = 0;  // of updates of HTTP DNS, in a row
  Ms defaults_paused_until = 0;
  Ms wanted_since = 0;  // when it lost what it now looks for
  Ms got_at = -1;       // when it found that; -1 while it looks
  Request fetch;
  Request update;
  uint16_t pause = 0;    // number of the newest pause between two attempts
  uint8_t document = 0;  // the one that it holds
  uint8_t link = 0;      // the link server that it is connected to, or tries
  Stage stage = Stage::kFirstPass;
  bool by_defaults : 1 = false;  // the fetch under way was caused by defaults
  bool hosts_known : 1 = false;  // HTTP DNS has answered
  bool connected : 1 = false;
  bool pausing : 1 = false;

  Request& Of(Kind kind) { return kind == Kind::kFetch ? fetch : update; }
};
static_assert(sizeof(Client) <= 64, "a million clients fit into 64 MB");

}  // namespace herd
