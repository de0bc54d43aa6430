#pragma once

#include <future>
#include <string>
#include <vector>

#include "base/object/object.h"
#include "base/thread/base_thread.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "src/sturdy/http_agent/http_dns/host_resolver.h"
#include "src/sturdy/http_agent/http_dns/service_directory.h"

namespace zo_sturdy {

// Resolves host names by asking an HTTP service, whose endpoints are data themselves. It is the
// thread "http dns manager" (M) and owns the two parts that work on it: the directory of the
// service's endpoints and the resolver of host names. Each part has its own data and locks.
//
// Threads: the owner's thread calls Init and Stop. Any thread may query, except M, which would wait
//          for itself. The comment of each part lists its threads.
// Owner:   HttpDNSService, by a shared pointer. A query, and an answer that is delivered on a
//          foreign thread, hold it while they run.
// Errors:  Init throws the system's error if the thread can't be started.
class HttpDNSManager : public EnvironmentConfigGetterBase,
                       public zo_base::BaseThread,
                       public virtual zo_base::ZOObjectIMPL {
 public:
  HttpDNSManager();
  ~HttpDNSManager() override;
  HttpDNSManager(const HttpDNSManager&) = delete;
  HttpDNSManager& operator=(const HttpDNSManager&) = delete;

  // Loads the files and starts the thread, once. Returns true. Requires: the configuration is set.
  bool Init();
  // BaseThread: also ends the queries.
  void RequestStop() override;

  // Forwarded to the directory of endpoints; see ServiceDirectory.
  void LoadServerCache() { directory_.LoadServerCache(CacheFolder()); }
  void ResetServerCache(bool save) { directory_.ResetServerCache(save); }
  bool InitInterfaceAddress() { return directory_.InitInterfaceAddress(); }
  bool DoReload(net::AddressFamily ip_family) { return directory_.DoReload(ip_family); }
  static bool CheckServiceResponseBody(const zo_base::json11::Json& json) {
    return ServiceDirectory::CheckServiceResponseBody(json);
  }
  bool UpdateServerCache(const zo_base::json11::Json& json) {
    return directory_.UpdateServerCache(json);
  }

  // Forwarded to the resolver of host names; see HostResolver.
  bool LoadHostCache() { return resolver_.LoadHostCache(CacheFolder()); }
  void SaveHostCache() { resolver_.SaveHostCache(); }
  bool Query(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
             HostIPMap& results) {
    return resolver_.DoQuery(ip_family, hosts, results, false);
  }
  bool DoQuery(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
               HostIPMap& results, bool is_retry) {
    return resolver_.DoQuery(ip_family, hosts, results, is_retry);
  }
  std::future<bool> UpdateCache(const std::vector<std::string>& hosts,
                                net::AddressFamily ip_family) {
    return resolver_.UpdateCache(hosts, ip_family);
  }
  void BuildHostQueryURLs(const std::vector<std::string>& hosts,
                          const std::vector<ServiceAddress>& addresses,
                          std::vector<URLItem>& urls) {
    resolver_.BuildHostQueryURLs(hosts, addresses, urls);
  }
  bool ApplyHostResponse(const std::string& headers, const std::string& body,
                         const std::vector<std::string>& asked = {}) {
    return resolver_.ApplyHostResponse(headers, body, asked);
  }

  // Wakes the queries that wait and refuses new ones: all of them return false.
  void EndQueries() { resolver_.EndQueries(); }

  ServiceAddressTable& TableForTest() { return directory_.table(); }
  HostCache& HostsForTest() { return resolver_.cache(); }

 private:
  // Returns the folder of both files, created if missing; empty without a configuration.
  std::string CacheFolder();

  ServiceDirectory directory_{*this};
  HostResolver resolver_{*this, directory_.table()};
};

}  // namespace zo_sturdy
