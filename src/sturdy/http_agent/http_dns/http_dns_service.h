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

// The interface of HTTP DNS to the rest of the system: creates the manager and forwards to it.
// Threads: the owner's thread calls Start and Stop. Any thread may call Query and RequestStop, but
//          "http dns manager" would wait for itself in Query.
// Owner:   HttpAgent, by a shared pointer.
// Errors:  Start throws the system's error if the thread can't be started; stop the service then.
//          A query before Start or after Stop returns false.
class HttpDNSService : public EnvironmentConfigGetterBase, public virtual zo_base::ZOObjectIMPL {
 public:
  HttpDNSService() = default;
  ~HttpDNSService() override;
  HttpDNSService(const HttpDNSService&) = delete;
  HttpDNSService& operator=(const HttpDNSService&) = delete;

  // Runs once; a later call does nothing. Requires: the configuration is set.
  void Start();
  // Returns whether the manager's thread calls. Query must not wait there.
  bool IsOwnThread();
  // Asks the manager's thread to end. Wakes the queries that wait and refuses new ones: all of them
  // return false.
  void RequestStop();
  // Joins the manager's thread. The service can't start again.
  void Stop();

  // Replaces `results` by the addresses of these hosts, from the cache or from the service; returns
  // whether there are any. May block for one request, see HostResolver::DoQuery.
  bool Query(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
             HostIPMap& results);

 private:
  std::shared_ptr<HttpDNSManager> Manager();

  zo_base::Mutex manager_mutex_;  // held while the pointer is copied
  std::shared_ptr<HttpDNSManager> http_dns_manager_ ZO_GUARDED_BY(manager_mutex_);
  zo_base::OnceFlag init_once_;
};

}  // namespace zo_sturdy
