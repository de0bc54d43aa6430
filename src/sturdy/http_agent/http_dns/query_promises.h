#pragma once

#include <future>
#include <list>
#include <memory>

#include "base/sync/mutex.h"

namespace zo_sturdy {

// The promises of the host queries that wait for the network, so that a stop can wake every waiter.
// Without it, promises in the queue of a stopped thread would never break.
// Threads: any.
// Owner:   HostResolver. The closures of a query own its promise; when the last of them goes, the
//          future breaks.
// Errors:  reading a broken future throws std::future_error.
class QueryPromises {
 public:
  using Promise = std::shared_ptr<std::promise<bool>>;
  struct Query {
    Promise promise;  // empty if the query is refused
    std::future<bool> future;
  };

  QueryPromises() = default;
  QueryPromises(const QueryPromises&) = delete;
  QueryPromises& operator=(const QueryPromises&) = delete;

  // After End, refuses the query: its future is broken.
  Query Make();
  // Breaks the open futures, and refuses queries from here on.
  void End();
  bool HasEnded();

 private:
  zo_base::Mutex mutex_;
  std::list<std::weak_ptr<std::promise<bool>>> open_ ZO_GUARDED_BY(mutex_);
  bool ended_ ZO_GUARDED_BY(mutex_) = false;
};

}  // namespace zo_sturdy
