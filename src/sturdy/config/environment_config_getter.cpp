#include "src/sturdy/config/environment_config_getter.h"

#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

EnvironmentConfigGetterBase::~EnvironmentConfigGetterBase() = default;

void EnvironmentConfigGetterBase::SetEnvironmentConfig(
    const std::shared_ptr<_EnvironmentConfig>& config) {
  zo_base::MutexLock lock(config_mutex_);
  config_ = config;
}

std::shared_ptr<_EnvironmentConfig> EnvironmentConfigGetterBase::GetEnvironmentConfig() {
  zo_base::MutexLock lock(config_mutex_);
  return config_.lock();
}

void EnvironmentConfigGetterBase::SendMultipleURLRequest(const MultipleURLHttpRequest& request,
                                                         bool on_agent_thread) {
  const auto config = GetEnvironmentConfig();
  if (!config) {
    return;
  }
  if (const HttpRequestInvoker invoker = config->GetHttpRequestInvoker()) {
    invoker(request, on_agent_thread);
  }
}

}  // namespace zo_sturdy
