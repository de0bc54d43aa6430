#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "bench/herd/client.h"

namespace herd {

// What happens to a client.
struct Event {
  enum class What : uint8_t {
    kBegin,        // the client starts, or gets its new token
    kPauseEnds,    // the one with this `number`
    kLinkArrives,  // the client's attempt arrives at the link server
    kLinkWorks,
    kLinkFails,
    kUpdateBegins,  // of the endpoints of HTTP DNS
    // These belong to the request with this `number` and `kind`, sent to its URL number `url`.
    kArrives,   // at `server`
    kTimesOut,  // the URL has been silent for too long
    kGood,      // a good answer
    kBad,       // a bad answer, or the failure of the transfer
  };

  Event(uint32_t to, What what_happens, uint16_t of, Kind of_kind, int at_url, unsigned at_server)
      : client(to),
        number(of),
        what(what_happens),
        url(static_cast<unsigned>(at_url) & 15U),
        kind(of_kind),
        server(at_server & 63U) {}

  uint32_t client;
  uint16_t number;
  What what : 4;
  uint8_t url : 4;
  Kind kind : 1;
  uint8_t server : 6;
};
static_assert(sizeof(Event) == 8, "a million waiting events fit into 8 MB");

// The events of a run, in bins of 1 ms. Handles the events of a bin in the order in which they were
// added, also those that are added to the present bin meanwhile.
// Threads: one at a time.
class Calendar {
 public:
  explicit Calendar(Ms length) : bins_(static_cast<size_t>(length)) {}

  Ms now() const { return now_; }

  // Adds an event, or drops it if it comes after the end of the run. Requires: `at` isn't past.
  void Add(int64_t at, const Event& event) {
    if (at < static_cast<int64_t>(bins_.size())) {
      bins_[static_cast<size_t>(at)].push_back(event);
    }
  }

  // Calls `tick` at the start of each bin, and `handle` with each event. Passes also an event that
  // follows soon in the bin, or null, so that `handle` can prefetch its client.
  template <class Tick, class Handle>
  void Run(const Tick& tick, const Handle& handle) {
    for (now_ = 0; static_cast<size_t>(now_) < bins_.size(); ++now_) {
      tick();
      std::vector<Event>& bin = bins_[static_cast<size_t>(now_)];
      // By index: a handler may add to this bin.
      for (size_t i = 0; i < bin.size(); ++i) {
        const Event event = bin[i];
        handle(event, i + kAhead < bin.size() ? &bin[i + kAhead] : nullptr);
      }
      std::vector<Event>().swap(bin);
    }
  }

 private:
  static constexpr size_t kAhead = 8;  // events between the one handled and the one prefetched

  std::vector<std::vector<Event>> bins_;
  Ms now_ = 0;
};

}  // namespace herd
