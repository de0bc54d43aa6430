#include "src/sturdy/http_agent/logic/live_requests.h"

#include "base/process/no_destructor.h"
#include "src/sturdy/http_agent/logic/multiple_url_request_helper.h"

namespace zo_sturdy {

LiveRequests& LiveRequests::Instance() {
  static zo_base::NoDestructor<LiveRequests> instance;
  return *instance;
}

void LiveRequests::Add(MultipleURLHttpRequestHelper* request) {
  const zo_base::MutexLock lock(mutex_);
  requests_.insert(request);
}

void LiveRequests::Remove(MultipleURLHttpRequestHelper* request) {
  const zo_base::MutexLock lock(mutex_);
  requests_.erase(request);
}

// Deletes outside the lock, because each destructor calls Remove.
void LiveRequests::FreeAll() {
  std::set<MultipleURLHttpRequestHelper*> left;
  {
    const zo_base::MutexLock lock(mutex_);
    left.swap(requests_);
  }
  for (MultipleURLHttpRequestHelper* request : left) {
    delete request;
  }
}

size_t LiveRequests::CountForTest() {
  const zo_base::MutexLock lock(mutex_);
  return requests_.size();
}

}  // namespace zo_sturdy
