#include "network/http_client.h"

#include <chrono>
#include <exception>
#include <map>
#include <new>
#include <string>
#include <utility>

#include "base/platform/thread.h"
#include "base/process/no_destructor.h"
#include "network/http_request_win.h"
#include "network/http_response.h"
#include "network/transfer_failure.h"

namespace KRBASE::network {

namespace {

// The requests that the transport has. An empty map owns no memory, so a stopped client leaves
// nothing to free.
// Threads: any.
// Owner:   the process; it is never destroyed.
// Errors:  std::bad_alloc of Put.
class RunningRequests {
 public:
  using Entry = std::pair<std::shared_ptr<HttpRequest>, std::shared_ptr<IHttpRequestor::Done>>;

  static RunningRequests& Instance() {
    static zo_base::NoDestructor<RunningRequests> table;
    return *table;
  }

  void Put(uint64_t id, Entry entry) {
    zo_base::MutexLock lock(mutex_);
    std::swap(entries_[id], entry);  // an earlier entry is destroyed without the lock
  }

  // Returns an empty entry if the client has stopped since.
  Entry Take(uint64_t id) {
    zo_base::MutexLock lock(mutex_);
    const auto node = entries_.extract(id);
    return node.empty() ? Entry() : std::move(node.mapped());
  }

  void Clear() {
    std::map<uint64_t, Entry> entries;
    zo_base::MutexLock lock(mutex_);
    entries.swap(entries_);
  }

 private:
  zo_base::Mutex mutex_;
  std::map<uint64_t, Entry> entries_ ZO_GUARDED_BY(mutex_);
};

constexpr int32_t kNoError = 0;
constexpr int32_t kCancelledError = -1;
constexpr std::chrono::milliseconds kPauseWithoutMemory(1);

// Up to the first zero byte.
std::string ZeroTerminated(const std::string& text) {
  return text.c_str();
}

void CallBack(HttpClient* client, HttpRequest& request,
              const std::shared_ptr<HttpResponseUser>& response, int32_t error) {
  auto* user = dynamic_cast<HttpRequestUser*>(&request);
  if (user == nullptr || !user->callback) {
    return;
  }
  try {
    user->callback(client, response, error);
  } catch (const std::bad_alloc&) {
    throw;  // the answer isn't delivered
  } catch (...) {
    // The fault is the callback's, and this thread has other requests to serve.
  }
}

void Answer(HttpClient* client, const std::shared_ptr<HttpRequest>& request,
            const HttpResponse& response) {
  auto copy = std::make_shared<HttpResponseUser>();
  copy->headers = response.headers;
  copy->status = response.status;
  copy->data = response.data;
  copy->host_addresses = response.host_addresses;
  copy->body = ZeroTerminated(response.body);
  copy->message = ZeroTerminated(response.message);
  copy->success = response.success;
  copy->request = request.get();
  const RunningRequests::Entry held = RunningRequests::Instance().Take(request->id);
  CallBack(client, *request, copy, kNoError);
}

}  // namespace

HttpClient::HttpClient() = default;

HttpClient::~HttpClient() {
  Stop();
}

void HttpClient::Start() {
  zo_base::MutexLock lifecycle_lock(lifecycle_mutex);
  {
    zo_base::MutexLock lock(state_mutex);
    if (requestor != nullptr) {
      return;
    }
  }
  auto transport = std::make_shared<HttpRequestWin>();
  transport->MakePool();
  zo_base::MutexLock lock(state_mutex);
  requestor = std::move(transport);
}

void HttpClient::StartForTest(std::shared_ptr<IHttpRequestor> transport) {
  zo_base::MutexLock lifecycle_lock(lifecycle_mutex);
  zo_base::MutexLock lock(state_mutex);
  // The old one is destroyed without the lock: its workers may call Send.
  requestor.swap(transport);
}

bool HttpClient::StartDispatcherLocked() {
  if (dispatcher_started) {
    return true;
  }
  // Count before the thread runs. If the thread counted, it could undo a Stop that came first.
  {
    zo_base::MutexLock lock(running_mutex);
    ++running;
  }
  try {
    dispatcher = zo_base::StartThread([this, transport = requestor] { Dispatch(*transport); });
  } catch (const std::exception&) {
    zo_base::MutexLock lock(running_mutex);
    --running;
    return false;
  }
  dispatcher_started = true;
  return true;
}

void HttpClient::Send(const std::shared_ptr<HttpRequest>& request) {
  bool is_queued = true;
  {
    zo_base::MutexLock lock(state_mutex);
    if (requestor == nullptr || is_stopping) {
      return;
    }
    is_queued = StartDispatcherLocked();
    if (is_queued && request != nullptr) {
      zo_base::RecursiveMutexLock queue_lock(queue_mutex);
      incoming->push_back(request);
      request->state = kHttpRequestQueued;
    }
  }
  if (is_queued) {
    Wake();
  } else if (request != nullptr) {
    LogTransferFailure(request->url, {TransferCause::kOutOfMemory}, 0);
    Answer(this, request, HttpResponse());
  }
}

void HttpClient::RequestStop() {
  std::shared_ptr<IHttpRequestor> transport;
  {
    zo_base::MutexLock lock(state_mutex);
    is_stopping = true;
    transport = requestor;
  }
  {
    zo_base::MutexLock lock(running_mutex);
    running = 0;
  }
  Wake();
  if (transport != nullptr) {
    transport->CancelAll();
  }
}

void HttpClient::Stop() {
  zo_base::MutexLock lifecycle_lock(lifecycle_mutex);
  RequestStop();
  // End the dispatcher.
  std::shared_ptr<IHttpRequestor> transport;
  std::thread ending;
  {
    zo_base::MutexLock lock(state_mutex);
    transport.swap(requestor);
    ending.swap(dispatcher);
  }
  if (ending.joinable()) {
    ending.join();
  }
  // Drop the requests that wait, and wait for those in progress.
  RunningRequests::Instance().Clear();
  ClearLists();
  transport.reset();
  // Get ready for the next start.
  {
    zo_base::MutexLock lock(running_mutex);
    running = 1;
  }
  zo_base::MutexLock lock(state_mutex);
  dispatcher_started = false;
  is_stopping = false;
}

void HttpClient::Dispatch(IHttpRequestor& transport) {
  zo_base::SetCurrentThreadName("http dispatcher");
  while (const std::shared_ptr<HttpRequest> request = WaitForRequest()) {
    Forward(request, transport);
    // `request` destroys the request after the lock has been released.
    zo_base::RecursiveMutexLock lock(queue_mutex);
    working->pop_front();
  }
}

std::shared_ptr<HttpRequest> HttpClient::WaitForRequest() {
  {
    zo_base::RecursiveMutexLock lock(wake_mutex);
    while (IsRunning() && !HasRequests()) {
      wake_up.wait(wake_mutex);
    }
  }
  if (!IsRunning()) {
    return nullptr;
  }
  zo_base::RecursiveMutexLock lock(queue_mutex);
  if (working->empty()) {
    std::swap(working, incoming);
  }
  return working->front();
}

void HttpClient::Forward(const std::shared_ptr<HttpRequest>& request, IHttpRequestor& transport) {
  try {
    if (request->state == kHttpRequestCancelled) {
      CallBack(this, *request, nullptr, kCancelledError);
      return;
    }
    const auto respond = std::make_shared<IHttpRequestor::Done>(
        [this, request](const std::shared_ptr<const HttpResponse>& response) {
          try {
            Answer(this, request, *response);
          } catch (const std::exception&) {
            AnswerWithoutTransfer(request);  // no memory for the copy
          }
        });
    RunningRequests::Instance().Put(request->id, {request, respond});
    transport.Send(request, *respond);
  } catch (const std::exception&) {
    AnswerWithoutTransfer(request);
  }
}

// Nobody else would end the request, so the thread tries until there is memory for the answer.
void HttpClient::AnswerWithoutTransfer(const std::shared_ptr<HttpRequest>& request) {
  if (IsRunning()) {
    LogTransferFailure(request->url, {TransferCause::kOutOfMemory}, 0);
  }
  while (IsRunning()) {
    try {
      Answer(this, request, HttpResponse());
      return;
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(kPauseWithoutMemory);
    }
  }
}

void HttpClient::Wake() {
  zo_base::RecursiveMutexLock lock(wake_mutex);
  wake_up.notify_all();
}

bool HttpClient::IsRunning() {
  zo_base::MutexLock lock(running_mutex);
  return running >= 1;
}

bool HttpClient::HasRequests() {
  zo_base::RecursiveMutexLock lock(queue_mutex);
  return !working->empty() || !incoming->empty();
}

void HttpClient::ClearLists() {
  // Destroyed without the lock: a request owns what its callback holds.
  RequestList dropped[2];
  zo_base::RecursiveMutexLock lock(queue_mutex);
  dropped[0].swap(*working);
  dropped[1].swap(*incoming);
}

}  // namespace KRBASE::network
