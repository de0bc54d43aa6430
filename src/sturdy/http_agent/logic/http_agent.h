#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/object/object.h"
#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "base/thread/base_thread.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"

namespace zo_sturdy {

class HttpDNSService;
class MultipleURLHttpRequestHelper;
class StatisticCountTimerInvoker;

// The one road of all requests: owns the thread "http_agent_work", the HTTP DNS service and the
// failure statistics, and installs into the configuration the function by which every component
// sends. A request that has failed on all its URLs gets a second pass against the addresses that
// HTTP DNS gives for their hosts, and its failures go to the statistics.
//
// Threads: requests may be started on any thread and stay on the one they were started on, which
//          a host query of theirs blocks. Start and Stop belong to the owner's thread, which is
//          never one of the agent's. QueryHost comes from any but HTTP DNS's own.
// Owner:   the environment's object, by a shared pointer; it calls Stop before it lets go.
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
  // Waits for the steps that are running on the threads, and drops what is queued there.
  void Stop();
  // Ends the host queries that are waited for, and refuses new ones. For an owner that has more
  // to wait for before it stops the agent.
  void EndQueries();

  // Starts a request on the calling thread.
  void InvokeMultipleURLHttpRequest(const MultipleURLHttpRequest& request);

  // Resolves one host through HTTP DNS. `result` is a JSON document with "code" 200 and the
  // addresses in "data", 1 for a host that is an address, 2 for one that didn't resolve.
  bool QueryHost(const std::string& host, int32_t ip_family, std::string& result);

 private:
  void StartMembers();
  void Invoke(const MultipleURLHttpRequest& request, bool on_agent_thread);
  // Copies, since a stop clears the members while other threads may be at work with them.
  std::shared_ptr<zo_base::BaseThread> AgentThread() const;
  std::shared_ptr<HttpDNSService> DNSService() const;
  std::shared_ptr<StatisticCountTimerInvoker> Statistics() const;
  std::shared_ptr<zo_base::ITaskLoop> AgentLoop() const;
  void CompleteRequest(MultipleURLHttpRequestHelper* helper, bool success,
                       const std::string& headers, const std::string& body,
                       const MultipleURLHttpRequest& request);
  void HandOnFailures(const MultipleURLHttpRequestHelper& helper);
  // False if there is none, and so nobody else who will tell the caller.
  bool StartSecondPass(const MultipleURLHttpRequestHelper& helper,
                       const MultipleURLHttpRequest& request);

  zo_base::OnceFlag start_flag;
  mutable zo_base::Mutex members_mutex;  // a leaf, held for one copy of a pointer
  std::shared_ptr<zo_base::BaseThread> http_agent_thread ZO_GUARDED_BY(members_mutex);
  std::shared_ptr<HttpDNSService> http_dns_service ZO_GUARDED_BY(members_mutex);
  std::shared_ptr<StatisticCountTimerInvoker> statistic_invoker ZO_GUARDED_BY(members_mutex);
};

}  // namespace zo_sturdy
