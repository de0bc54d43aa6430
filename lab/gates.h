#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace lab {

// The gates of behaviours made with HeldAt: a connection waits at one until a test lets it pass.
// Threads: any.
// Owner:   the Lab. Outlives all connections.
// Errors:  a wait returns false at its limit.
class Gates {
 public:
  using Limit = std::chrono::milliseconds;

  Gates() = default;
  Gates(const Gates&) = delete;
  Gates& operator=(const Gates&) = delete;

  // For connections. Registers a waiter and returns its ticket. A release calls `go` once, without
  // the mutex. Returns 0 and keeps nothing if the gate is open.
  uint64_t Hold(const std::string& gate, std::function<void()> go);
  void Unhold(const std::string& gate, uint64_t ticket);

  [[nodiscard]] bool WaitForHeld(const std::string& gate, int at_least, Limit limit) const;
  // Lets the requests pass that wait now, and returns their number.
  int Release(const std::string& gate);
  // Lets all later ones pass too.
  void Open(const std::string& gate);

 private:
  struct Gate {
    bool open = false;
    std::map<uint64_t, std::function<void()>> held;
  };

  int LetPass(const std::string& gate, bool for_good);

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // Guarded by mutex_.
  std::map<std::string, Gate> gates_;
  uint64_t last_ticket_ = 0;
};

}  // namespace lab
