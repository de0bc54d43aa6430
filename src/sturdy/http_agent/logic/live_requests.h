#pragma once

#include <cstddef>
#include <set>

#include "base/sync/mutex.h"

namespace zo_sturdy {

class MultipleURLHttpRequestHelper;

// Lists the live requests. A request owns itself until it has ended and its agent's slot has
// adopted it. If the agent is destroyed first, the request may never end, or end with no slot to
// adopt it: it stays listed here and is freed when the library is unloaded.
// Threads: any.
// Owner:   the process.
// Errors:  none.
class LiveRequests {
 public:
  static LiveRequests& Instance();

  LiveRequests();
  LiveRequests(const LiveRequests&) = delete;
  LiveRequests& operator=(const LiveRequests&) = delete;

  void Add(MultipleURLHttpRequestHelper* request);
  void Remove(MultipleURLHttpRequestHelper* request);
  size_t CountForTest();

 private:
  void FreeAll();

  zo_base::Mutex mutex_;
  std::set<MultipleURLHttpRequestHelper*> requests_ ZO_GUARDED_BY(mutex_);
};

}  // namespace zo_sturdy
