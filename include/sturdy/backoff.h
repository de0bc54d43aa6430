// SPDX-License-Identifier: MIT
// Tells a client how long to wait between two attempts to connect. Plain C++11, compiled into the
// client; it calls nothing of the library.
#pragma once

#include <cstdint>
#include <random>

namespace sturdy {
// The pauses of a loop that connects: none within a round of the list, since the next server may
// work, and a random one after the default that ends the round. Without it, all clients that have
// lost their servers in the same second would ask the LBS servers together, again and again.
//
//   sturdy::Backoff backoff;
//   while (!Connects(link = client.NextLink()))
//     Wait(backoff.AfterFailure(client.service().GetLinkHostCount()));  // ms, or until a new list
//   backoff.Reset();
//
// docs/client-guide.md ("Connect in a loop") has the whole loop, in which a new list ends a pause.
//
// Threads: one at a time.
class Backoff {
 public:
  // `base_ms` is the longest pause. The default is safe if the LBS servers refuse, or answer 503,
  // what they can't answer within a second. If they queue without limit, it must be at least the
  // number of clients divided by the answers per ms of the server of the first URL, which every
  // client asks first. `seed` must differ from client to client. Errors: what std::random_device
  // throws.
  explicit Backoff(uint32_t base_ms = 20000, uint32_t seed = std::random_device()())
      : random_(seed), base_ms_(base_ms) {}

  // Call it after each failed attempt, with GetLinkHostCount(). Returns the pause in ms before the
  // next attempt: 0 within a round, from 0 to `base_ms` after it.
  uint32_t AfterFailure(int32_t link_host_count) {
    if (failures_ < link_host_count) {
      ++failures_;
      return 0;
    }
    failures_ = 0;
    return std::uniform_int_distribution<uint32_t>(0, base_ms_)(random_);
  }
  // Call it once a server has accepted, and for a new list: both begin a round. A fetched list is
  // new if it has other servers than the one before. LBS servers may give the old one again, whose
  // servers have failed: if it began a round too, every third pause would be lost.
  void Reset() { failures_ = 0; }

 private:
  std::minstd_rand random_;
  uint32_t base_ms_;
  int32_t failures_ = 0;
};
}  // namespace sturdy
