#pragma once

#include <cstddef>
#include <set>

#include "base/sync/mutex.h"

namespace zo_sturdy {

class MultipleURLHttpRequestHelper;

// Lists the live requests. A request owns itself until it has ended and its agent's slot has
// adopted it. If the agent is destroyed first, the request may never end, or end with no slot to
// adopt it: it stays listed here until the exit frees it.
// Threads: any; FreeAll requires that no other thread carries a request.
// Owner:   the process.
// Errors:  none.
class LiveRequests {
 public:
  static LiveRequests& Instance();

  LiveRequests() = default;
  LiveRequests(const LiveRequests&) = delete;
  LiveRequests& operator=(const LiveRequests&) = delete;

  void Add(MultipleURLHttpRequestHelper* request);
  void Remove(MultipleURLHttpRequestHelper* request);
  // For an exit that has joined every thread.
  void FreeAll();
  size_t CountForTest();

 private:
  zo_base::Mutex mutex_;
  std::set<MultipleURLHttpRequestHelper*> requests_ ZO_GUARDED_BY(mutex_);
};

}  // namespace zo_sturdy
