#include "src/sturdy/environment/environment_manager.h"

#include <thread>
#include <utility>

#include "base/platform/thread.h"
#include "base/process/no_destructor.h"
#include "base/process/unload_hook.h"
#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

EnvironmentManager& EnvironmentManager::Instance() {
  static zo_base::NoDestructor<EnvironmentManager> manager;
  return *manager;
}

EnvironmentManager::EnvironmentManager() {
  zo_base::AtUnload([] { Instance().ForgetEnded(); });
}

void EnvironmentManager::ForgetEnded() {
  zo_base::MutexLock lock(lifecycle_mutex_);
  ended_.reset();
}

std::shared_ptr<_EnvironmentConfig> EnvironmentManager::GetConfig() const {
  zo_base::MutexLock lock(config_mutex_);
  return config_;
}

void EnvironmentManager::SetConfig(std::shared_ptr<_EnvironmentConfig> config) {
  // The old one ends behind the lock: its destructor takes locks of its own.
  {
    zo_base::MutexLock lock(config_mutex_);
    config_.swap(config);
  }
}

void EnvironmentManager::SetConfigForTest(std::shared_ptr<_EnvironmentConfig> config) {
  SetConfig(std::move(config));
}

std::shared_ptr<IZOSturdyObject> EnvironmentManager::Find(int32_t id) {
  if (!LockTable()) {
    return nullptr;
  }
  const auto entry = environments_.find(id);
  auto object = entry == environments_.end() ? nullptr : entry->second;
  environments_mutex_.unlock();
  return object;
}

bool EnvironmentManager::LockTable() {
  const bool may_wait = !zo_base::IsLibraryThread();
  while (!environments_mutex_.try_lock()) {
    if (may_wait) {
      environments_mutex_.lock();
      return true;
    }
    if (stopping_all_) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

void EnvironmentManager::ForEach(
    const std::function<void(int, const std::shared_ptr<IZOSturdyObject>&)>& visit) {
  zo_base::MutexLock lock(environments_mutex_);
  for (const auto& [id, object] : environments_) {
    visit(id, object);
  }
}

void EnvironmentManager::Clear() {
  // The objects end behind the lock.
  Table table;
  zo_base::MutexLock lock(environments_mutex_);
  environments_.swap(table);
}

}  // namespace zo_sturdy
