#pragma once

#include <memory>

#include "base/sync/once_flag.h"
#include "network/http_requestor.h"
#include "network/threadpool.h"

namespace KRBASE::network {

// The transport. Each request is one blocking transfer on a worker of the pool, without a retry.
// Ignores `host`, `ip`, `port` and `sni` of a request.
// Threads: Send from one at a time. `done` runs on a worker.
// Owner:   HttpClient. The destructor waits for the transfers in progress.
// Errors:  a failed transfer is a response with status 0, or with the status of an answer that lost
//          its body. The worker logs it before it calls `done`. Send throws if the pool can't take
//          the task. Otherwise `done` is called exactly once, unless the pool ends first.
class HttpRequestWin : public IHttpRequestor {
 public:
  ~HttpRequestWin() override;

  // Creates the pool at the first call. Throws the system's error if it can't start the threads;
  // the next call tries again.
  void MakePool();

  // Requires: MakePool has returned.
  void Send(const std::shared_ptr<HttpRequest>& request, const Done& done) override;

  // Does nothing: a blocking transfer can't be ended early.
  void Cancel(uint64_t request_id) override;
  // Begins no further transfer.
  void CancelAll() override;

 private:
  zo_base::OnceFlag pool_made;
  std::shared_ptr<threadpool> pool;
};

}  // namespace KRBASE::network
