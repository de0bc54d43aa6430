#pragma once

#include <memory>

#include "base/sync/mutex.h"

namespace zo_sturdy {

class _EnvironmentConfig;
struct MultipleURLHttpRequest;

// Gives a component access to the configuration.
class IEnvironmentConfigGetter {
 public:
  virtual ~IEnvironmentConfigGetter() = default;
  virtual void SetEnvironmentConfig(const std::shared_ptr<_EnvironmentConfig>& config) = 0;
  // Returns an empty pointer if no configuration was set or it is gone.
  virtual std::shared_ptr<_EnvironmentConfig> GetEnvironmentConfig() = 0;
  // Sends through the invoker of the configuration. Without a configuration or an invoker it does
  // nothing: the request's callback isn't called.
  virtual void SendMultipleURLRequest(const MultipleURLHttpRequest& request,
                                      bool on_agent_thread) = 0;
};

// Holds the configuration weakly, so that it ends with its environment.
// Threads: any.
// Owner:   the component that derives from it.
// Errors:  none.
class EnvironmentConfigGetterBase : public IEnvironmentConfigGetter {
 public:
  EnvironmentConfigGetterBase() = default;
  ~EnvironmentConfigGetterBase() override;
  EnvironmentConfigGetterBase(const EnvironmentConfigGetterBase&) = delete;
  EnvironmentConfigGetterBase& operator=(const EnvironmentConfigGetterBase&) = delete;

  void SetEnvironmentConfig(const std::shared_ptr<_EnvironmentConfig>& config) override;
  std::shared_ptr<_EnvironmentConfig> GetEnvironmentConfig() override;
  void SendMultipleURLRequest(const MultipleURLHttpRequest& request, bool on_agent_thread) override;

 private:
  zo_base::Mutex config_mutex_;  // held for one copy of the pointer
  std::weak_ptr<_EnvironmentConfig> config_ ZO_GUARDED_BY(config_mutex_);
};

}  // namespace zo_sturdy
