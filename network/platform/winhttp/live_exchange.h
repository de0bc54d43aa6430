#pragma once

#include <cstdint>
#include <functional>

namespace KRBASE::network::platform {

class WinHttpExchange;

// An exchange's entry in the list of those that exist. WinHTTP gets its number, in place of a
// pointer, as the context of its notifications: one may still come, or run on a thread of
// WinHTTP's, while the exchange ends.
// Threads: any. The mutex of the list is held around a visit.
// Owner:   the exchange.
// Errors:  the constructor throws std::bad_alloc.
class LiveExchange {
 public:
  explicit LiveExchange(WinHttpExchange* exchange);
  // Blocks while a visit runs.
  ~LiveExchange();
  LiveExchange(const LiveExchange&) = delete;
  LiveExchange& operator=(const LiveExchange&) = delete;

  // Is never used again.
  [[nodiscard]] uintptr_t number() const { return number_; }

  // Calls `visit` with the exchange of this number, unless that is gone. Passes its exceptions on.
  static void Visit(uintptr_t number, const std::function<void(WinHttpExchange&)>& visit);

 private:
  uintptr_t number_ = 0;
};

}  // namespace KRBASE::network::platform
