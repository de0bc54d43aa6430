#pragma once

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "base/key_value_file.h"
#include "base/object/object.h"
#include "base/sync/mutex.h"
#include "base/thread/base_thread.h"
#include "base/thread/timer.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "src/sturdy/http_agent/http_dns/host_cache.h"
#include "src/sturdy/http_agent/http_dns/host_ip_map.h"
#include "src/sturdy/http_agent/http_dns/query_promises.h"
#include "src/sturdy/http_agent/http_dns/service_address_table.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// Resolves host names by asking an HTTP service, whose endpoints are data themselves. Owns what is
// known of both, in memory and in two files, and the thread "http dns manager" (M).
//
// The endpoints: taken from their file in Init, asked for anew when their lifetime ends, and after
// 1 to 5 minutes again when nobody has answered (service_update.cpp, server_cache.cpp).
// The hosts: a query is answered from the cache where it can be, waits for one request where it
// must, and starts a request in the background where it may (host_query.cpp, host_cache_file.cpp).
//
// Threads: Init and Stop belong to the owner's thread. Queries come from any thread but M, which
//          would wait for itself. DoReload and what applies an answer run on M; a service update is
//          judged and completed on "http_agent_work", or on whichever thread delivers its answer.
// Locks:   `timer_mutex_` before M's `delayed_mutex`, and never taken by a delayed task of M;
//          `save_mutex_` around the writing of the host cache. Both are M's own.
// Owner:   HttpDNSService, by a shared pointer; a query and a delivery on a foreign thread hold it
//          while they run.
// Errors:  Init hands on what a failed thread start throws. Files and documents that are damaged
//          leave built-in endpoints, or nothing. What a query couldn't resolve isn't in its result.
class HttpDNSManager : public EnvironmentConfigGetterBase,
                       public zo_base::BaseThread,
                       public virtual zo_base::ZOObjectIMPL {
 public:
  HttpDNSManager();
  ~HttpDNSManager() override;
  HttpDNSManager(const HttpDNSManager&) = delete;
  HttpDNSManager& operator=(const HttpDNSManager&) = delete;

  // Loads the files and starts the thread, once. Always returns true.
  // Requires: the configuration is set.
  bool Init();

  // Wakes the queries that wait, and refuses new ones: all of them answer false.
  void EndQueries();
  // BaseThread: ends the queries as well.
  void RequestStop() override;

  // --- The service's endpoints ---

  void LoadServerCache();
  // Puts the built-in endpoints into the file's store, and with `save` into the file.
  void ResetServerCache(bool save);
  // Fills the table from the store and has M start the update cycle. Always returns true.
  bool InitInterfaceAddress();
  // Starts a service update; true if one was in flight already. Requires: on M.
  bool DoReload(net::AddressFamily ip_family);
  // Whether an answer has all keys that it needs, of whatever type.
  static bool CheckServiceResponseBody(const zo_base::json11::Json& json);
  // Makes an answer the table of the service, in memory and in the file. Always returns true.
  bool UpdateServerCache(const zo_base::json11::Json& json);

  // --- Hosts ---

  // Always returns true.
  bool LoadHostCache();
  void SaveHostCache();
  // Replaces `results`; true if any host has an address. Blocks for one request, up to 21 s with
  // the built-in endpoints, if a host isn't in the cache.
  bool Query(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
             HostIPMap& results);
  // With `is_retry` the cache alone answers, and only what is fresh in it.
  bool DoQuery(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
               HostIPMap& results, bool is_retry);
  // Has M ask the service for these hosts. The future gives the success of the request; reading it
  // throws std::future_error if there will never be one.
  std::future<bool> UpdateCache(const std::vector<std::string>& hosts,
                                net::AddressFamily ip_family);
  void BuildHostQueryURLs(const std::vector<std::string>& hosts,
                          const std::vector<ServiceAddress>& addresses, std::vector<URLItem>& urls);
  // True if the last host of an answer has addresses in it.
  bool ApplyHostResponse(const std::string& headers, const std::string& body);

  ServiceAddressTable& TableForTest() { return service_table_; }
  HostCache& HostsForTest() { return host_cache_; }

 private:
  // The folder of both files, made if it is missing; empty without a configuration.
  std::string CacheFolder();
  void BuildRequestHeaders();
  MultipleURLHttpRequest NewRequest() const;

  // Of the update cycle.
  void SetServerValue(const char* key, const std::string& value);
  void BeginUpdateCycle();
  bool JudgeServiceResponse(int32_t index, int32_t code, const std::string& body,
                            bool& need_statistic);
  void CompleteServiceUpdate(bool success, const std::string& body);
  void ApplyServiceResponse(const zo_base::json11::Json& json);
  void ReloadAfter(int64_t delay_ms, const char* message) ZO_EXCLUDES(timer_mutex_);

  // Of a query.
  void LoadHostItem(const std::string& host, const std::string& text);
  void RequestHosts(const std::vector<std::string>& hosts, net::AddressFamily ip_family,
                    const QueryPromises::Promise& promise);
  bool UpdateAndWait(net::AddressFamily ip_family, const std::vector<std::string>& hosts,
                     HostIPMap& results);
  void CompleteHostQuery(bool success, const std::string& headers, const std::string& body,
                         std::promise<bool>& promise);

  zo_base::KeyValueFile server_cache_file_;
  zo_base::KeyValueFile host_cache_file_;
  std::vector<std::string> request_headers_;  // constant after Init
  ServiceAddressTable service_table_;
  HostCache host_cache_;
  std::shared_ptr<zo_base::Timer> timer_;  // made in Init; used with `timer_mutex_` held
  std::atomic<int32_t> update_fail_count_{0};
  std::atomic<bool> updatting_interface_{false};
  zo_base::Mutex timer_mutex_;
  zo_base::Mutex save_mutex_;
  QueryPromises queries_;
};

}  // namespace zo_sturdy
