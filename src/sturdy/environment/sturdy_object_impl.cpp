#include "src/sturdy/environment/sturdy_object_impl.h"

#include <string>
#include <utility>

#include "base/log/log.h"
#include "base/platform/thread.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "src/sturdy/http_agent/logic/http_agent.h"

namespace zo_sturdy {

ZOSturdyObjectImpl::ZOSturdyObjectImpl() : http_agent(std::make_shared<HttpAgent>()) {}

ZOSturdyObjectImpl::~ZOSturdyObjectImpl() {
  Stop();
}

void ZOSturdyObjectImpl::Init() {
  const auto agent = Agent();
  agent->SetEnvironmentConfig(GetEnvironmentConfig());
  agent->Start();
}

void ZOSturdyObjectImpl::RequestStop() {
  if (const auto agent = Agent()) {
    agent->RequestStop();  // the client's callback may wait for a query on the service's thread
  }
  if (const auto service = LBSService()) {
    service->RequestStop();
  }
}

void ZOSturdyObjectImpl::Stop() {
  RequestStop();
  const auto agent = Agent();
  // Stop the service first: its requests go through the agent.
  StopLBSService(/*allow_new=*/false);
  lbs_once.Call([] {});  // no service is created from here on
  if (agent) {
    agent->Stop();
    zo_base::MutexLock lock(agent_mutex);
    http_agent.reset();
  }
}

std::shared_ptr<HttpAgent> ZOSturdyObjectImpl::Agent() const {
  zo_base::MutexLock lock(agent_mutex);
  return http_agent;
}

void ZOSturdyObjectImpl::NotifyNetworkChanged(net::AddressFamily family) {
  if (const auto config = GetEnvironmentConfig()) {
    // Emit under the lock, so that two changes reach the service in order.
    zo_base::RecursiveMutexLock lock(config->mutex);
    ZO_LOG(LV_APP) << "[environment] Network changed family:" << family;
    const net::AddressFamily before = config->address_family.exchange(family);
    try {
      config->Emit(_EnvironmentConfig::SIG_NetworkChanged, family);
    } catch (...) {
      config->address_family = before;  // as the service does
      throw;
    }
  }
}

IZOSturdyLBSService* ZOSturdyObjectImpl::GetLBSService() {
  lbs_once.Call([this] {
    const auto made = std::make_shared<ZOSturdyLBSServiceImpl>();
    made->SetEnvironmentConfig(EnvironmentManager::Instance().GetConfig());
    zo_base::MutexLock lock(service_mutex);
    lbs_service = made;
  });
  return LBSService().get();
}

std::shared_ptr<ZOSturdyLBSServiceImpl> ZOSturdyObjectImpl::LBSService() const {
  zo_base::MutexLock lock(service_mutex);
  return std::static_pointer_cast<ZOSturdyLBSServiceImpl>(lbs_service);
}

void ZOSturdyObjectImpl::ReleaseLBSService() {
  // Ask first: the log of a forked child is its parent's.
  if (!EnvironmentManager::Instance().IsStartedHere()) {
    return;
  }
  if (zo_base::IsLibraryThread()) {
    ZO_LOG(LV_APP) << "[sturdy object] Release on a thread of the library, ignored";
    return;
  }
  StopLBSService(/*allow_new=*/true);
}

void ZOSturdyObjectImpl::StopLBSService(bool allow_new) {
  zo_base::MutexLock release_lock(release_mutex);
  auto service = LBSService();
  if (!service) {
    return;
  }
  service->zo_base::BaseThread::Stop();
  {
    zo_base::MutexLock lock(service_mutex);
    lbs_service.reset();
  }
  service.reset();  // a call that waits may hold the stopped service for some ms
  if (allow_new) {
    lbs_once.Reset();
  }
}

bool ZOSturdyObjectImpl::QueryHost(const char* host, int32_t ip_family, char* out) {
  const auto agent = Agent();  // an exit releases the member during the query
  if (!agent || !host || !out) {
    return false;
  }
  std::string text;
  bool found = agent->QueryHost(host, ip_family, text);
  // The client passes no length: an answer longer than its buffer counts as not found.
  if (!found || text.size() >= kQueryHostBufferSize) {
    found = false;
    text = "{\"code\":1}";
  }
  text.copy(out, text.size());
  return found;
}

void ZOSturdyObjectImpl::SetBusinessToken(const char* token) {
  const auto config = GetEnvironmentConfig();
  if (!config || !token) {
    return;
  }
  const std::string text = token;
  zo_base::RecursiveMutexLock lock(config->mutex);  // as for the network
  if (text == config->business_token) {
    return;
  }
  ZO_LOG(LV_APP) << "[environment] Token changed key:" << (text.empty() ? "none" : "set");
  std::string before = text;
  before.swap(config->business_token);
  try {
    config->Emit(_EnvironmentConfig::SIG_BusinessTokenChanged, text);
  } catch (...) {
    // Without the fetch of a new token no fetch could end, so the old one stays.
    config->business_token.swap(before);
    throw;
  }
}

}  // namespace zo_sturdy
