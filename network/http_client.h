#pragma once

#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <thread>

#include "base/process/singleton.h"
#include "base/process/tags.h"
#include "base/sync/mutex.h"
#include "network/http_request.h"
#include "network/http_requestor.h"

namespace KRBASE::network {

// The HTTP client of the whole process. Callers queue requests; one dispatcher passes them to the
// transport, whose workers carry them out and call the requests' callbacks.
// Threads: Send and RequestStop from any, callbacks included; they never wait. Start and Stop from
//          any but the client's own; they run one after the other.
// Owner:   the singleton. It outlives an environment, stopped and ready for the next Start.
// Errors:  a failed transfer is a response with status 0. No exception leaves the dispatcher or a
//          worker, whatever a callback throws. If a callback throws std::bad_alloc there, it is
//          called again, with status 0, until it doesn't or the client stops.
class HttpClient : public zo_base::Singleton<HttpClient, zo_base::ZOGlobalContext, 0> {
 public:
  ~HttpClient() override;

  // Creates the transport and its pool, unless there is one. Throws the system's error if it can't
  // start the threads; the client is unchanged then.
  void Start();
  // Starts a stopped client with this transport.
  void StartForTest(std::shared_ptr<IHttpRequestor> transport);

  // Queues a request. A stopped client drops it. If the dispatcher can't be started, answers the
  // request on this thread with status 0; the next call tries again. An empty pointer only starts
  // the dispatcher.
  void Send(const std::shared_ptr<HttpRequest>& request);

  // Drops new and queued requests from here on, without waiting for the transfers in progress. For
  // an owner that also waits for other threads; Stop follows.
  void RequestStop();

  // Ends the dispatcher and waits for the transfers in progress, whose callbacks still run. Drops
  // the requests that wait. A transfer takes at most its connect time-out plus 30 s plus one name
  // look-up, two if a redirect comes last. On Windows each address has that time-out, and TLS too.
  void Stop();

 private:
  friend class zo_base::Singleton<HttpClient, zo_base::ZOGlobalContext, 0>;
  using RequestList = std::list<std::shared_ptr<HttpRequest>>;

  HttpClient();

  bool StartDispatcherLocked() ZO_REQUIRES(state_mutex);
  void Dispatch(IHttpRequestor& transport);
  // Blocks until there is a request and leaves it at the front of `working`. Empty at a stop.
  std::shared_ptr<HttpRequest> WaitForRequest();
  void Forward(const std::shared_ptr<HttpRequest>& request, IHttpRequestor& transport);
  // Answers a request that no worker can take, or whose answer is lost, with status 0 and the cause
  // kOutOfMemory.
  void AnswerWithoutTransfer(const std::shared_ptr<HttpRequest>& request);
  void Wake();
  void ClearLists();
  [[nodiscard]] bool IsRunning();
  [[nodiscard]] bool HasRequests();

  // Lock order: lifecycle_mutex, then state_mutex or wake_mutex, then running_mutex or queue_mutex.
  // No callback is called with any of them held.
  zo_base::Mutex lifecycle_mutex;  // held by Start and Stop from begin to end
  zo_base::Mutex state_mutex;
  bool is_stopping ZO_GUARDED_BY(state_mutex) = false;  // from RequestStop to the end of Stop
  bool dispatcher_started ZO_GUARDED_BY(state_mutex) = false;
  std::thread dispatcher ZO_GUARDED_BY(state_mutex);
  std::shared_ptr<IHttpRequestor> requestor ZO_GUARDED_BY(state_mutex);

  // The client runs while this is at least 1. A dispatcher adds 1.
  zo_base::Mutex running_mutex;
  int32_t running ZO_GUARDED_BY(running_mutex) = 1;

  // The queue, and the batch that the dispatcher works through. They are swapped by pointer.
  zo_base::RecursiveMutex queue_mutex;
  RequestList lists[2];
  RequestList* incoming ZO_GUARDED_BY(queue_mutex) = &lists[0];
  RequestList* working ZO_GUARDED_BY(queue_mutex) = &lists[1];

  // Wakes the dispatcher. Notify with wake_mutex held, after the change.
  zo_base::RecursiveMutex wake_mutex;
  std::condition_variable_any wake_up;
};

}  // namespace KRBASE::network
