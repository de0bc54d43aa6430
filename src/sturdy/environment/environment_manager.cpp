#include "src/sturdy/environment/environment_manager.h"

#include <mutex>
#include <thread>
#include <utility>

#include "base/no_destructor.h"
#include "base/platform/thread.h"
#include "src/sturdy/environment/environment_config.h"

namespace zo_sturdy {

EnvironmentManager& EnvironmentManager::Instance() {
  static zo_base::NoDestructor<EnvironmentManager> manager;
  return *manager;
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

std::shared_ptr<IZOSturdyObject> EnvironmentManager::Find(int32_t id) {
  std::unique_lock<zo_base::Mutex> lock(environments_mutex_, std::defer_lock);
  if (zo_base::IsLibraryThread()) {
    while (!lock.try_lock()) {
      if (stopping_all_) {
        return nullptr;
      }
      std::this_thread::yield();
    }
  } else {
    lock.lock();
  }
  const auto entry = environments_.find(id);
  return entry == environments_.end() ? nullptr : entry->second;
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
