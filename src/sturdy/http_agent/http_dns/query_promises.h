#pragma once

#include <future>
#include <list>
#include <memory>

#include "base/sync/mutex.h"

namespace zo_sturdy {

// The promises behind the host queries that wait for the network, so that an end can wake all who
// wait: a queue that a stopped thread has left behind would keep its promises for too long.
// Threads: any.
// Owner:   HttpDNSManager. A promise belongs to the closures of its query; when the last of them is
//          gone the future breaks by itself.
// Errors:  a future that is broken throws std::future_error where it is read.
class QueryPromises {
 public:
  using Promise = std::shared_ptr<std::promise<bool>>;
  struct Query {
    Promise promise;  // empty if the query was refused
    std::future<bool> future;
  };

  QueryPromises() = default;
  QueryPromises(const QueryPromises&) = delete;
  QueryPromises& operator=(const QueryPromises&) = delete;

  // Once ended, the future comes broken.
  Query Make();
  // Breaks what is open and refuses what comes.
  void End();
  bool HasEnded();

 private:
  zo_base::Mutex mutex_;
  std::list<std::weak_ptr<std::promise<bool>>> open_ ZO_GUARDED_BY(mutex_);
  bool ended_ ZO_GUARDED_BY(mutex_) = false;
};

}  // namespace zo_sturdy
