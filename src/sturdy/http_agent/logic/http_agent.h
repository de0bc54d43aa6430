#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/base_thread.h"
#include "base/mutex.h"
#include "base/object.h"
#include "base/once_flag.h"
#include "src/sturdy/environment/environment_config_getter.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"

namespace zo_sturdy {

class MultipleURLHttpRequestHelper;

// The one road of all requests: owns the thread "http_agent_work", and installs into the
// configuration the function by which every component sends.
//
// Threads: requests may be started on any thread and stay on the one they were started on. Start
//          and Stop belong to the owner's thread, which is never "http_agent_work".
// Owner:   the environment's object, by a shared pointer.
// Errors:  Start hands on what a failed thread start throws, and has stopped by then. Requests
//          never fail here: their outcome is in their callback.
class HttpAgent : public EnvironmentConfigGetterBase, public virtual zo_base::ZOObjectIMPL {
 public:
  HttpAgent() = default;
  ~HttpAgent() override;
  HttpAgent(const HttpAgent&) = delete;
  HttpAgent& operator=(const HttpAgent&) = delete;

  // Runs once; a second call returns at once. Requires: the configuration is set.
  void Start();
  // Waits for the request's step that is running on the thread, and drops what is queued there.
  void Stop();

  // Starts a request on the calling thread.
  void InvokeMultipleURLHttpRequest(const MultipleURLHttpRequest& request);

  // Resolves one host through HTTP DNS. `result` is a JSON document with "code" 200 and the
  // addresses in "data", 1 for a host that is an address, 2 for one that didn't resolve.
  bool QueryHost(const std::string& host, int32_t ip_family, std::string& result);

 private:
  void StartMembers();
  void Invoke(const MultipleURLHttpRequest& request, bool on_agent_thread);
  std::shared_ptr<zo_base::BaseThread> AgentThread() const;
  template <class F>
  auto ForAnyThread(F closure);
  void CompleteRequest(MultipleURLHttpRequestHelper* helper, bool success,
                       const std::string& headers, const std::string& body,
                       const MultipleURLHttpRequest& request);

  zo_base::OnceFlag start_flag;
  mutable zo_base::Mutex thread_mutex;  // held for one copy of the pointer
  std::shared_ptr<zo_base::BaseThread> http_agent_thread ZO_GUARDED_BY(thread_mutex);
};

}  // namespace zo_sturdy
