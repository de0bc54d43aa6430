#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <thread>

#include "base/process/singleton.h"
#include "base/process/tags.h"
#include "base/sync/condition.h"
#include "base/sync/mutex.h"
#include "network/http_request.h"
#include "network/http_requestor.h"

namespace KRBASE::network {

// The gate to HTTP of the whole process: callers queue requests, one dispatcher hands them to the
// transport, whose workers carry them out and call the requests' callbacks.
// Threads: Send from any, a callback included, and never waits for a transfer. Start and Stop from
//          any but the client's own; they run one after the other.
// Owner:   the singleton; it stays when an environment ends, stopped and as new.
// Errors:  a failed transfer is a response with status 0. Nothing leaves the dispatcher or a
//          worker, whatever a callback throws.
class HttpClient : public zo_base::Singleton<HttpClient, zo_base::ZOGlobalContext, 0> {
 public:
  ~HttpClient() override;

  // Makes the transport with its pool, unless there is one. Throws the system's error if there are
  // no threads to be had; the client is then as before.
  void Start();
  // Starts a stopped client with this transport in place of its own.
  void StartForTest(std::shared_ptr<IHttpRequestor> transport);

  // Queues a request. Dropped if the client is stopped. If no dispatcher can be started, the
  // request is answered on this thread with status 0, and the next call tries again. An empty
  // pointer starts the dispatcher, no more.
  void Send(const std::shared_ptr<HttpRequest>& request);

  // Ends the dispatcher and waits for the transfers in progress, whose callbacks still come.
  // Requests that wait are dropped. Each transfer ends within the sum of its connect time-out
  // and 30 s from there on, and of its look-up of the host name, which a redirect at the end of
  // the 30 s makes two.
  void Stop();

 private:
  friend class zo_base::Singleton<HttpClient, zo_base::ZOGlobalContext, 0>;
  using RequestList = std::list<std::shared_ptr<HttpRequest>>;

  HttpClient();

  bool StartDispatcherLocked() ZO_REQUIRES(state_mutex);
  void Dispatch(IHttpRequestor& transport);
  // Waits for the next request and leaves it at the front of `working`; empty at a stop.
  std::shared_ptr<HttpRequest> WaitForRequest();
  void Forward(const std::shared_ptr<HttpRequest>& request, IHttpRequestor& transport);
  void Wake();
  void ClearLists();
  [[nodiscard]] bool IsRunning();
  [[nodiscard]] bool HasRequests();

  // Order of the locks: lifecycle_mutex, state_mutex or wake_mutex, and last running_mutex or
  // queue_mutex. Callbacks are called with none of them held.
  zo_base::Mutex lifecycle_mutex;  // held by all of Start and Stop
  zo_base::Mutex state_mutex;
  bool dispatcher_started ZO_GUARDED_BY(state_mutex) = false;
  std::thread dispatcher ZO_GUARDED_BY(state_mutex);
  std::shared_ptr<IHttpRequestor> requestor ZO_GUARDED_BY(state_mutex);

  // The client runs while this is at least 1; a dispatcher adds 1.
  zo_base::Mutex running_mutex;
  int32_t running ZO_GUARDED_BY(running_mutex) = 1;

  // The queue and the batch in work, swapped by their pointers.
  zo_base::RecursiveMutex queue_mutex;
  RequestList lists[2];
  RequestList* incoming ZO_GUARDED_BY(queue_mutex) = &lists[0];
  RequestList* working ZO_GUARDED_BY(queue_mutex) = &lists[1];

  // What the dispatcher waits for changes, or is told of, with wake_mutex held.
  zo_base::RecursiveMutex wake_mutex;
  zo_base::Condition wake_up;
};

}  // namespace KRBASE::network
