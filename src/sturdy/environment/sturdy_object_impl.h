#pragma once

#include <cstdint>
#include <memory>

#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "src/sturdy/config/environment_config_getter.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

class HttpAgent;
class ZOSturdyLBSServiceImpl;

// The object of an environment that a client uses. Owns the HTTP agent and the LBS service.
// Threads: any for the slots. ReleaseLBSService must not run during calls of the service, nor Stop
//          during other calls than ReleaseLBSService, with these exceptions: calls in the client's
//          callback, whose thread both join first, and a QueryHost or GetLBSResponse that waits,
//          whose wait they end.
// Owner:   the table of EnvironmentManager.
// Errors:  Init throws if a thread can't be started. The slots report by their results.
class ZOSturdyObjectImpl : public IZOSturdyObject, public EnvironmentConfigGetterBase {
 public:
  ZOSturdyObjectImpl();
  ~ZOSturdyObjectImpl() override;

  // Starts the agent. Requires: SetEnvironmentConfig.
  void Init();
  // Asks the threads of the agent and the service to end. Blocks while a document is applied.
  void RequestStop();
  // Stops the service and the agent and joins their threads. A second call does nothing.
  void Stop();

  void NotifyNetworkChanged(net::AddressFamily family) override;
  IZOSturdyLBSService* GetLBSService() override;
  void ReleaseLBSService() override;
  bool QueryHost(const char* host, int32_t ip_family, char* out) override;
  void SetBusinessToken(const char* token) override;

  int32_t id = 0;  // set by EnvironmentManager before Init

 private:
  std::shared_ptr<HttpAgent> Agent() const;
  std::shared_ptr<ZOSturdyLBSServiceImpl> LBSService() const;
  void StopLBSService(bool allow_new);

  mutable zo_base::Mutex agent_mutex;  // a leaf, held for one copy of the pointer
  std::shared_ptr<HttpAgent> http_agent ZO_GUARDED_BY(agent_mutex);
  zo_base::Mutex release_mutex;  // held while the service stops, for releases at the same time
  mutable zo_base::Mutex service_mutex;  // a leaf, like agent_mutex
  std::shared_ptr<IZOSturdyLBSService> lbs_service ZO_GUARDED_BY(service_mutex);
  zo_base::OnceFlag lbs_once;
};

}  // namespace zo_sturdy
