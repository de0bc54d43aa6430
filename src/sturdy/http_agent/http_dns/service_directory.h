#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/json/json.h"
#include "base/key_value_file.h"
#include "base/sync/mutex.h"
#include "base/thread/timer.h"
#include "src/sturdy/http_agent/http_dns/service_address_table.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

class HttpDNSManager;

// The endpoints of the HTTP DNS service: the table in memory, its file http_server_cache.data, and
// the update cycle that keeps both current.
//
//   waiting    timer_ is armed; when it fires: updating
//   updating   updatting_interface_ is set; a good answer: applying; a failure: waiting, for one to
//              five minutes
//   applying   a task of M; when it has run: waiting, for the answer's lifetime
//
// Threads: M is the manager's thread. Loading comes before M runs. M sends an update and applies
//          its answer; "http_agent_work", or another thread that delivers the answer, judges and
//          completes it. Any thread may read the table.
// Locks:   `timer_mutex_` before M's `delayed_mutex`; no delayed task of M takes it.
// Owner:   HttpDNSManager, as a member. Closures hold the manager, or expire with it.
// Errors:  a damaged file leaves the built-in endpoints; a damaged answer leaves the table.
class ServiceDirectory {
 public:
  explicit ServiceDirectory(HttpDNSManager& manager);
  ServiceDirectory(const ServiceDirectory&) = delete;
  ServiceDirectory& operator=(const ServiceDirectory&) = delete;

  // Requires: the configuration is set, and M doesn't run yet.
  void BuildRequestHeaders();
  // Reads the file, or falls back on the built-in endpoints. Without a folder there is no file.
  void LoadServerCache(const std::string& folder);
  // Puts the built-in endpoints into the file's store, and with `save` into the file.
  void ResetServerCache(bool save);
  // Fills the table from the store and posts the start of the update cycle to M. Returns true.
  bool InitInterfaceAddress();

  // Starts an update. Returns true, and does nothing, if one is in flight. Requires: on M.
  bool DoReload(net::AddressFamily ip_family);
  // Returns whether an answer has all keys that it needs, of whatever type.
  static bool CheckServiceResponseBody(const zo_base::json11::Json& json);
  // Makes an answer the table, in memory and in the file. Returns true.
  bool UpdateServerCache(const zo_base::json11::Json& json);

  ServiceAddressTable& table() { return service_table_; }

 private:
  void SetServerValue(const char* key, const std::string& value);
  void BeginUpdateCycle();
  bool JudgeServiceResponse(int32_t index, int32_t code, const std::string& body,
                            bool& need_statistic);
  void CompleteServiceUpdate(bool success, const std::string& body);
  void ApplyServiceResponse(const zo_base::json11::Json& json);
  void ReloadAfter(int64_t delay_ms, const char* message) ZO_EXCLUDES(timer_mutex_);

  HttpDNSManager& manager_;
  zo_base::KeyValueFile server_cache_file_;
  std::vector<std::string> request_headers_;  // constant once M runs
  ServiceAddressTable service_table_;

  zo_base::Mutex timer_mutex_;
  const std::shared_ptr<zo_base::Timer> timer_ ZO_GUARDED_BY(timer_mutex_);

  std::atomic<int32_t> update_fail_count_{0};  // consecutive failures, at most 5
  std::atomic<bool> updatting_interface_{false};
};

}  // namespace zo_sturdy
