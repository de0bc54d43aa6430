#pragma once

#include <memory>

#include "base/sync/once_flag.h"
#include "network/http_requestor.h"
#include "network/threadpool.h"

namespace KRBASE::network {

// The transport: each request is one blocking transfer on a worker of the pool. There is no retry,
// and a failure is a response with status 0. `host`, `ip`, `port` and `sni` of a request are not
// looked at.
// Threads: Send on one at a time, `done` runs on a worker.
// Owner:   HttpClient. The destructor waits for the transfers in progress.
// Errors:  Send throws if the pool can't take the task; `done` is called exactly once otherwise,
//          unless the pool ends first.
class HttpRequestWin : public IHttpRequestor {
 public:
  ~HttpRequestWin() override;

  // Makes the pool at the first call. Throws the system's error if there are no threads for it;
  // the next call tries again.
  void MakePool();

  // Requires: MakePool has been called.
  void Send(const std::shared_ptr<HttpRequest>& request, const Done& done) override;
  void Cancel(uint64_t request_id) override;
  void CancelAll() override;

 private:
  zo_base::OnceFlag pool_made;
  std::shared_ptr<threadpool> pool;
};

}  // namespace KRBASE::network
