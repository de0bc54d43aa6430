#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/object/object.h"
#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "src/sturdy/http_agent/http_dns/host_ip_map.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

class HttpDNSManager;

// The face of HTTP DNS towards the rest of the system: makes the manager, and forwards to it.
// Threads: Start and Stop belong to the owner's thread. Queries and EndQueries come from any thread
//          but "http dns manager".
// Owner:   HttpAgent, by a shared pointer.
// Errors:  Start hands on what a failed thread start throws; stop the service then. Without a
//          manager, so before Start and after Stop, a query answers false.
class HttpDNSService : public EnvironmentConfigGetterBase, public virtual zo_base::ZOObjectIMPL {
 public:
  HttpDNSService() = default;
  ~HttpDNSService() override;
  HttpDNSService(const HttpDNSService&) = delete;
  HttpDNSService& operator=(const HttpDNSService&) = delete;

  // Runs once; a later call does nothing. Requires: the configuration is set.
  void Start();
  // Joins the manager's thread. There is no start after it.
  void Stop();

  // Addresses of these hosts, from the cache or from the service; true if there are any. `results`
  // is replaced. Blocks for up to one request, see HttpDNSManager::Query.
  bool Query(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
             HostIPMap& results);
  // Wakes the queries that wait, and refuses new ones: all of them answer false.
  void EndQueries();

 private:
  std::shared_ptr<HttpDNSManager> Manager();

  zo_base::Mutex manager_mutex_;  // held for one copy of the pointer
  std::shared_ptr<HttpDNSManager> http_dns_manager_ ZO_GUARDED_BY(manager_mutex_);
  zo_base::OnceFlag init_once_;
};

}  // namespace zo_sturdy
