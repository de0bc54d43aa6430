#include "src/sturdy/config/current_config.h"

#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"

namespace zo_sturdy {

namespace {

struct Current {
  zo_base::Mutex mutex;
  std::weak_ptr<_EnvironmentConfig> config ZO_GUARDED_BY(mutex);
};

Current& TheCurrent() {
  static zo_base::NoDestructor<Current> current;
  return *current;
}

}  // namespace

std::shared_ptr<_EnvironmentConfig> CurrentConfig() {
  Current& current = TheCurrent();
  const zo_base::MutexLock lock(current.mutex);
  return current.config.lock();
}

void SetCurrentConfig(const std::shared_ptr<_EnvironmentConfig>& config) {
  Current& current = TheCurrent();
  const zo_base::MutexLock lock(current.mutex);
  current.config = config;
}

}  // namespace zo_sturdy
