#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "base/process/at_exit.h"
#include "base/process/tags.h"
#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

class _EnvironmentConfig;

// The process-wide owner of the environment: its configuration, its object, and the table that
// the object stands in. There is one environment at most, and its id is 1.
// Threads: any. Starts and exits come one at a time under `lifecycle_mutex_`, which the library's
//          own threads never take, since an exit joins them while it holds it.
// Owner:   the process; never destroyed.
// Errors:  an exception out of a start passes to the caller and leaves nothing behind.
class EnvironmentManager {
 public:
  static EnvironmentManager& Instance();

  EnvironmentManager();
  EnvironmentManager(const EnvironmentManager&) = delete;
  EnvironmentManager& operator=(const EnvironmentManager&) = delete;

  // What the exports do on a client's thread. A start gives the id, and does
  // nothing else if there was one already.
  int32_t StartOnce(const _ZOSturdyEnvironmentSettings& settings);
  void StopAndExit(int32_t id);

  // Empty while nothing is started.
  std::shared_ptr<_EnvironmentConfig> GetConfig() const;
  // Puts a configuration in place without a start; null takes it away.
  void SetConfigForTest(std::shared_ptr<_EnvironmentConfig> config);

  // The object of this id, or an empty pointer. On a thread of the library it is empty, too, while
  // an exit stops the objects with the table locked: waiting there would never end.
  std::shared_ptr<IZOSturdyObject> Find(int32_t id);
  // Calls `visit` for each entry, in the order of ids and with the table locked.
  void ForEach(const std::function<void(int, const std::shared_ptr<IZOSturdyObject>&)>& visit);
  void Clear();

 private:
  using Table = std::map<int32_t, std::shared_ptr<IZOSturdyObject>>;

  // The steps of the two roads, in environment_lifecycle.cpp.
  void Start(const _ZOSturdyEnvironmentSettings& settings) ZO_REQUIRES(lifecycle_mutex_);
  void CreateEnvironment() ZO_REQUIRES(lifecycle_mutex_);
  void Exit() ZO_REQUIRES(lifecycle_mutex_);
  void LetGo() ZO_REQUIRES(lifecycle_mutex_);
  void ForgetEnded();

  bool LockTable() ZO_TRY_ACQUIRE(true, environments_mutex_);
  void SetConfig(std::shared_ptr<_EnvironmentConfig> config);

  std::atomic<uint32_t> next_id_{0};       // 0 while nothing is started
  std::atomic<bool> stopping_all_{false};  // an exit stops objects with the table locked
  zo_base::OnceFlag start_once_;           // with locking of its own

  zo_base::Mutex lifecycle_mutex_;
  std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_manager_
      ZO_GUARDED_BY(lifecycle_mutex_);
  // The object of the last exit, stopped and empty. It stays until the next one, so that a client's
  // call which the exit overtook finds an object to fail on.
  std::shared_ptr<IZOSturdyObject> ended_ ZO_GUARDED_BY(lifecycle_mutex_);

  zo_base::Mutex environments_mutex_;
  Table environments_ ZO_GUARDED_BY(environments_mutex_);

  mutable zo_base::Mutex config_mutex_;  // held for one copy of the pointer
  std::shared_ptr<_EnvironmentConfig> config_ ZO_GUARDED_BY(config_mutex_);
};

}  // namespace zo_sturdy
