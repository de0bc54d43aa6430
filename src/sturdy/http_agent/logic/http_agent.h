#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/object/object.h"
#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "base/thread/base_thread.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "src/sturdy/config/multiple_url_request.h"

namespace zo_sturdy {

class HttpDNSService;
class MultipleURLHttpRequestHelper;
class StatisticCountTimerInvoker;

// Sends all requests. Owns the thread "http_agent_work", the HTTP DNS service and the failure
// statistics, and installs the function by which every component sends into the configuration. A
// request that has failed on all its URLs gets a second pass against the addresses that HTTP DNS
// returns for their hosts. Its failures go to the statistics.
//
// Threads: any thread may start a request. The request stays on that thread, and its host query
//          blocks it. The owner's thread, never one of the agent's, calls Start and Stop. Any
//          thread may call QueryHost, except HTTP DNS's own.
// Owner:   the environment's object, by a shared pointer; it calls Stop before it releases it.
// Errors:  Start throws the system's error if a thread can't be started, and stops the agent first.
//          A request reports its outcome in its callback.
class HttpAgent : public EnvironmentConfigGetterBase, public virtual zo_base::ZOObjectIMPL {
 public:
  HttpAgent() = default;
  ~HttpAgent() override;
  HttpAgent(const HttpAgent&) = delete;
  HttpAgent& operator=(const HttpAgent&) = delete;

  // Runs once; a second call returns at once. Requires: the configuration is set.
  void Start();
  // Asks its threads to end, without waiting for one. Ends the host queries that wait, and refuses
  // new ones. For an owner that waits for other threads before it stops the agent.
  void RequestStop();
  // Waits for the running task of each of its threads, and drops the queued ones.
  void Stop();

  // Starts a request on the calling thread.
  void InvokeMultipleURLHttpRequest(const MultipleURLHttpRequest& request);

  // Resolves one host through HTTP DNS. `result` becomes a JSON document whose "code" is 200, with
  // the addresses in "data", 1 for a host that is an address, or 2 for one that didn't resolve.
  bool QueryHost(const std::string& host, int32_t ip_family, std::string& result);

 private:
  void StartMembers();
  void Invoke(const MultipleURLHttpRequest& request, bool on_agent_thread);
  // Copy the pointer, since a stop clears it while other threads may use the member.
  std::shared_ptr<zo_base::BaseThread> AgentThread() const;
  std::shared_ptr<HttpDNSService> DNSService() const;
  std::shared_ptr<StatisticCountTimerInvoker> Statistics() const;
  std::shared_ptr<zo_base::ITaskLoop> AgentLoop() const;
  void CompleteRequest(MultipleURLHttpRequestHelper* helper, bool success,
                       const std::string& headers, const std::string& body,
                       const MultipleURLHttpRequest& request);
  void ReportFailures(const MultipleURLHttpRequestHelper& helper);
  // Returns false if no second pass starts; the caller then completes the request.
  bool StartSecondPass(const MultipleURLHttpRequestHelper& helper,
                       const MultipleURLHttpRequest& request);

  zo_base::OnceFlag start_flag;
  mutable zo_base::Mutex members_mutex;  // a leaf, held while one pointer is copied
  std::shared_ptr<zo_base::BaseThread> http_agent_thread ZO_GUARDED_BY(members_mutex);
  std::shared_ptr<HttpDNSService> http_dns_service ZO_GUARDED_BY(members_mutex);
  std::shared_ptr<StatisticCountTimerInvoker> statistic_invoker ZO_GUARDED_BY(members_mutex);
};

}  // namespace zo_sturdy
