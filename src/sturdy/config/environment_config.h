#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "base/built_in_values.h"
#include "base/object/object.h"
#include "base/sync/mutex.h"
#include "base/sync/snapshot.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

struct MultipleURLHttpRequest;

// Rules of the failure statistics. Each good LBS document replaces the whole record.
struct StatisticSettings {
  bool enable = true;
  std::string host = kDefaultStatisticsHost;  // scheme and host
  int32_t count = 10;                         // failures that trigger a report
  int32_t time = 60000;                       // ms from the first failure to its report
  int64_t min_delay = 10000;                  // ms, the least time between two reports
};

// Sends a request over several URLs. With `on_agent_thread` posts it to "http_agent_work" first.
using HttpRequestInvoker =
    std::function<void(const MultipleURLHttpRequest& request, bool on_agent_thread)>;

// The settings of an environment, in one object that every component reads.
// Threads: any. ApplySettings runs before any service exists. Fields that change later are atomic,
//          snapshots, or guarded by `mutex`.
// Owner:   EnvironmentManager. Components hold it weakly, through EnvironmentConfigGetterBase.
// Errors:  none.
class _EnvironmentConfig : public zo_base::ZOObjectIMPL {
 public:
  _EnvironmentConfig();
  ~_EnvironmentConfig() override;
  _EnvironmentConfig(const _EnvironmentConfig&) = delete;
  _EnvironmentConfig& operator=(const _EnvironmentConfig&) = delete;

  // Copies the settings and adds the business to `data_path`. Creates no folder.
  void ApplySettings(const _ZOSturdyEnvironmentSettings& settings);

  std::string GetBusinessToken();

  // Set by the agent when it starts, and copied by every sender. Empty before.
  void SetHttpRequestInvoker(HttpRequestInvoker invoker);
  HttpRequestInvoker GetHttpRequestInvoker() const;

  // Both are emitted with `mutex` held. The mutex is recursive because a slot
  // may read the token.
  static inline zo_base::Signal<net::AddressFamily> SIG_NetworkChanged;
  static inline zo_base::Signal<const std::string&> SIG_BusinessTokenChanged;

  zo_base::RecursiveMutex mutex;
  std::string business = "im_g1";
  std::string business_token ZO_GUARDED_BY(mutex);
  std::string sdk_version_text;
  int32_t sv = 0;
  int32_t pv = 0;
  int32_t tp = 0;
  // With "/" as its only separator and at its end. From a start on absolute, if the process has a
  // working directory.
  std::string data_path;
  std::atomic<net::AddressFamily> address_family{net::kIPFamilyAny};
  zo_base::Snapshot<HttpRequestInvoker> http_request_invoker;
  zo_base::Snapshot<StatisticSettings> statistic_settings;
};

}  // namespace zo_sturdy
