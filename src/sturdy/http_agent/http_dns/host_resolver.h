#pragma once

#include <future>
#include <string>
#include <vector>

#include "base/key_value_file.h"
#include "base/sync/mutex.h"
#include "src/sturdy/config/multiple_url_request.h"
#include "src/sturdy/http_agent/http_dns/host_cache.h"
#include "src/sturdy/http_agent/http_dns/host_ip_map.h"
#include "src/sturdy/http_agent/http_dns/query_promises.h"
#include "src/sturdy/http_agent/http_dns/service_address.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

class HttpDNSManager;
class ServiceAddressTable;

// Answers host queries. It serves a host from the cache, refreshes an entry that is about to expire
// in the background, and sends a request that the caller waits for if a host isn't in the cache.
// The cache has a file, http_dns_cache.data, which is read once and written after each answer.
//
// Threads: any thread may query, except M, the manager's thread, which would wait for itself. M
//          sends the requests; the thread that delivers an answer applies it.
// Locks:   `save_mutex_` is held while the cache's file is written.
// Owner:   HttpDNSManager, as a member. Closures hold the manager, or expire with it.
// Errors:  a damaged file or answer leaves the cache as it is. A host that isn't resolved is absent
//          from the results.
class HostResolver {
 public:
  HostResolver(HttpDNSManager& manager, ServiceAddressTable& endpoints);
  HostResolver(const HostResolver&) = delete;
  HostResolver& operator=(const HostResolver&) = delete;

  // Reads the file and gives each of its entries a new and short lease. Without a folder there is
  // no file. Returns true.
  bool LoadHostCache(const std::string& folder);
  void SaveHostCache();

  // Replaces `results`; returns whether any host has an address. Blocks for one request if a host
  // isn't in the cache; sturdy.h says how long, at QueryHost. With `is_retry` only fresh entries
  // of the cache are served, and nothing is sent.
  bool DoQuery(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
               HostIPMap& results, bool is_retry);
  // Sends a request for these hosts from M. The future's value is the success of the request,
  // which is false if the request is lost or the queries are ended.
  std::future<bool> UpdateCache(const std::vector<std::string>& hosts,
                                net::AddressFamily ip_family);
  void BuildHostQueryURLs(const std::vector<std::string>& hosts,
                          const std::vector<ServiceAddress>& addresses, std::vector<URLItem>& urls);
  // Returns whether the last host of the answer has addresses in it. Those of `asked` may fill the
  // cache.
  bool ApplyHostResponse(const std::string& headers, const std::string& body,
                         const std::vector<std::string>& asked);

  // Wakes the queries that wait and refuses new ones: all of them return false.
  void EndQueries();

  HostCache& cache() { return host_cache_; }

 private:
  void LoadHostItem(const std::string& host, const std::string& text);
  bool UpdateAndWait(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
                     HostIPMap& results);
  void RequestHosts(const std::vector<std::string>& hosts, net::AddressFamily ip_family,
                    const QueryPromises::Promise& promise);
  void CompleteHostQuery(const std::vector<std::string>& hosts, bool success,
                         const std::string& headers, const std::string& body,
                         QueryPromise& promise);

  HttpDNSManager& manager_;
  ServiceAddressTable& endpoints_;
  HostCache host_cache_;
  zo_base::KeyValueFile host_cache_file_;
  zo_base::Mutex save_mutex_;
  QueryPromises queries_;
};

}  // namespace zo_sturdy
