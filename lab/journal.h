#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "lab/request.h"

namespace lab {

// Records the requests and connections of the lab's servers.
// Threads: any. One mutex, and one condition that every change notifies.
// Owner:   the Lab. Outlives all connections.
// Errors:  a wait returns false at its limit. The name of an unknown server throws
//          std::invalid_argument.
class Journal {
 public:
  using Limit = std::chrono::milliseconds;

  explicit Journal(const std::vector<std::string>& servers);
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // For connections. Sets `at_ms` of the request and keeps a copy.
  void Add(Request& request);
  // Returns the connection's number, counted from 1 over all servers.
  int Opened(const std::string& server);
  void Closed(const std::string& server);

  // The requests so far, in order of arrival over all servers.
  std::vector<Request> Requests() const;
  std::vector<Request> RequestsOf(const std::string& server) const;
  std::vector<Request> RequestsFor(const std::string& path) const;
  // The number of requests added, forgotten ones included.
  int Count() const;
  void Forget();
  [[nodiscard]] bool WaitForRequests(size_t count, Limit limit) const;
  [[nodiscard]] bool WaitForRequestsFor(const std::string& path, size_t count, Limit limit) const;
  // The predicate runs with the mutex held and must not call the lab.
  [[nodiscard]] bool WaitFor(const std::function<bool(const std::vector<Request>&)>& predicate,
                             Limit limit) const;

  // Connections, for servers that never see a request. An accepted connection counts as open until
  // both sides have closed it.
  int Accepted(const std::string& server) const;
  int Open(const std::string& server) const;
  [[nodiscard]] bool WaitForAccepted(const std::string& server, int at_least, Limit limit) const;
  [[nodiscard]] bool WaitForOpen(const std::string& server, int exactly, Limit limit) const;

 private:
  struct Connections {
    int accepted = 0;
    int open = 0;
  };
  template <class Predicate>
  bool Wait(Limit limit, Predicate predicate) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, predicate);
  }
  const Connections& OfLocked(const std::string& server) const;

  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // Guarded by mutex_.
  std::vector<Request> requests_;
  int count_ = 0;
  std::map<std::string, Connections> connections_;  // one for each server
  int last_connection_ = 0;
};

}  // namespace lab
