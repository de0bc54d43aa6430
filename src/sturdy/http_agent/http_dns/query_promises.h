#pragma once

#include <atomic>
#include <future>
#include <list>
#include <memory>

#include "base/sync/mutex.h"

namespace zo_sturdy {

// Ends the wait for one host query: by its answer, or by its destruction without an answer.
// Threads: any; the first answer counts.
// Owner:   the closures of the query, by a shared pointer.
// Errors:  none. A std::promise that is destroyed unanswered needs memory.
class QueryPromise {
 public:
  QueryPromise() = default;
  ~QueryPromise() { Answer(false); }
  QueryPromise(const QueryPromise&) = delete;
  QueryPromise& operator=(const QueryPromise&) = delete;

  std::future<bool> GetFuture() { return promise_.get_future(); }
  // Returns false if there is an answer already.
  bool Answer(bool success) {
    const bool is_first = !answered_.exchange(true);
    if (is_first) {
      promise_.set_value(success);
    }
    return is_first;
  }

 private:
  std::promise<bool> promise_;
  std::atomic<bool> answered_{false};
};

// The promises of the host queries that wait for the network, so that a stop can wake every waiter.
// Without it, promises in the queue of a stopped thread would never be answered.
// Threads: any.
// Owner:   HostResolver. The closures of a query own its promise.
// Errors:  std::bad_alloc of Make.
class QueryPromises {
 public:
  using Promise = std::shared_ptr<QueryPromise>;
  struct Query {
    Promise promise;  // empty if the query is refused
    std::future<bool> future;
  };

  QueryPromises() = default;
  QueryPromises(const QueryPromises&) = delete;
  QueryPromises& operator=(const QueryPromises&) = delete;

  // After End, refuses the query: its future holds false.
  Query Make();
  // Answers the open queries with false, and refuses queries from here on.
  void End();
  bool HasEnded();

 private:
  zo_base::Mutex mutex_;
  std::list<std::weak_ptr<QueryPromise>> open_ ZO_GUARDED_BY(mutex_);
  bool ended_ ZO_GUARDED_BY(mutex_) = false;
};

}  // namespace zo_sturdy
