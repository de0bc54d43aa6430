#pragma once

#include <cstdint>
#include <memory>

#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

class HttpAgent;

// What a client holds of an environment: the owner of the HTTP agent and of the LBS service.
// Threads: the slots come from any thread; ReleaseLBSService and Stop not beside other calls, bar
//          those from inside the client's callback, whose thread both of them join first, and bar
//          QueryHost, which a client may be waiting in: Stop ends its wait.
// Owner:   the table of EnvironmentManager.
// Errors:  Init throws what the start of a thread throws; the slots report by their results.
class ZOSturdyObjectImpl : public IZOSturdyObject, public EnvironmentConfigGetterBase {
 public:
  ZOSturdyObjectImpl();
  ~ZOSturdyObjectImpl() override;

  // Starts the agent. Requires: SetEnvironmentConfig.
  void Init();
  // Ends the service and the agent, and joins their threads; a second call finds nothing to do.
  void Stop();

  void NotifyNetworkChanged(net::AddressFamily family) override;
  IZOSturdyLBSService* GetLBSService() override;
  void ReleaseLBSService() override;
  bool QueryHost(const char* host, int32_t ip_family, char* out) override;
  void SetBusinessToken(const char* token) override;

  int32_t id = 0;  // set by EnvironmentManager before Init

 private:
  std::shared_ptr<HttpAgent> Agent() const;
  void StopLBSService(bool make_anew);

  mutable zo_base::Mutex agent_mutex;  // a leaf, held for one copy of the pointer
  std::shared_ptr<HttpAgent> http_agent ZO_GUARDED_BY(agent_mutex);
  std::shared_ptr<IZOSturdyLBSService> lbs_service;
  zo_base::OnceFlag lbs_once;
};

}  // namespace zo_sturdy
