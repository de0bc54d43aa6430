#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "lab/request.h"

namespace lab {

// Records what happens in the lab: requests, connections, and which connections wait at a gate.
// Threads: any. One mutex, and one condition that every change notifies.
// Owner:   the Lab. Outlives all connections.
// Errors:  a wait returns false at its limit.
class Journal {
 public:
  using Limit = std::chrono::milliseconds;

  Journal() = default;
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Sets `at_ms` of the request and keeps a copy.
  void Add(Request& request);
  std::vector<Request> Requests() const;
  void Forget();
  // The number of requests added, forgotten ones included.
  int Count() const;
  bool WaitFor(const std::function<bool(const std::vector<Request>&)>& predicate,
               Limit limit) const;

  // Returns the connection's number, counted from 1 over all servers.
  int Opened(const std::string& server);
  void Closed(const std::string& server);
  int Accepted(const std::string& server) const;
  int Open(const std::string& server) const;
  bool WaitForAccepted(const std::string& server, int at_least, Limit limit) const;
  bool WaitForOpen(const std::string& server, int exactly, Limit limit) const;

  // Registers a waiter at the gate and returns its ticket. A release calls `go` once, without the
  // mutex. Returns 0 and keeps nothing if the gate is open.
  uint64_t Hold(const std::string& gate, std::function<void()> go);
  void Unhold(const std::string& gate, uint64_t ticket);
  int Release(const std::string& gate, bool for_good);
  bool WaitForHeld(const std::string& gate, int at_least, Limit limit) const;

 private:
  struct Connections {
    int accepted = 0;
    int open = 0;
  };
  struct Gate {
    bool open = false;
    std::map<uint64_t, std::function<void()>> held;
  };

  template <class Predicate>
  bool Wait(Limit limit, Predicate predicate) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, predicate);
  }
  Connections OfLocked(const std::string& server) const;

  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // Guarded by mutex_.
  std::vector<Request> requests_;
  int count_ = 0;
  std::map<std::string, Connections> connections_;
  int last_connection_ = 0;
  std::map<std::string, Gate> gates_;
  uint64_t last_ticket_ = 0;
};

}  // namespace lab
