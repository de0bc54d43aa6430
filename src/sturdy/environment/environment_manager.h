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

// Starts and exits the environment; the exported functions forward to it. A process has at most
// one environment, and its id is 1.
// Threads: any. Starts and exits run one at a time under `lifecycle_mutex_`. The library's own
//          threads never take it, since an exit holds it while it joins them.
// Owner:   the process; never destroyed. Owns the configuration and the objects.
// Errors:  a start that throws passes the exception to its caller and leaves nothing started.
class EnvironmentManager {
 public:
  static EnvironmentManager& Instance();

  EnvironmentManager();
  EnvironmentManager(const EnvironmentManager&) = delete;
  EnvironmentManager& operator=(const EnvironmentManager&) = delete;

  // The exported start and exit, for a client's thread. StartOnce returns the id; it does nothing
  // else if the environment is started. StopAndExit tears everything down, whatever the id.
  int32_t StartOnce(const _ZOSturdyEnvironmentSettings& settings);
  void StopAndExit(int32_t id);
  // False in a forked child: it has no thread of ours to join, and a lock may be held for ever.
  // Takes no lock.
  bool IsStartedHere() const;

  // Empty while nothing is started.
  std::shared_ptr<_EnvironmentConfig> GetConfig() const;

  // Returns the object with this id, or an empty pointer. A thread of the library also gets an
  // empty pointer while an exit stops objects with the table locked: it would wait forever there.
  std::shared_ptr<IZOSturdyObject> Find(int32_t id);
  // Calls `visit` for each entry, in the order of ids and with the table locked.
  void ForEach(const std::function<void(int, const std::shared_ptr<IZOSturdyObject>&)>& visit);
  void Clear();

 private:
  using Table = std::map<int32_t, std::shared_ptr<IZOSturdyObject>>;

  void Start(const _ZOSturdyEnvironmentSettings& settings) ZO_REQUIRES(lifecycle_mutex_);
  void CreateEnvironment() ZO_REQUIRES(lifecycle_mutex_);
  void Exit() ZO_REQUIRES(lifecycle_mutex_);
  // Stops the objects that are left and releases all that a start makes.
  void TearDown() ZO_REQUIRES(lifecycle_mutex_);
  void DropLastObject();

  // False, without the lock, on a thread of the library while an exit stops objects under it.
  bool LockTable() ZO_TRY_ACQUIRE(true, environments_mutex_);

  std::atomic<uint32_t> next_id_{0};       // 0 while nothing is started
  std::atomic<uint32_t> started_in_{0};    // the process of the last start
  std::atomic<bool> stopping_all_{false};  // an exit stops objects with the table locked
  zo_base::OnceFlag start_once_;           // with locking of its own

  zo_base::Mutex lifecycle_mutex_;
  std::shared_ptr<zo_base::IAtExitManager<zo_base::SturdyObject>> at_exit_manager_
      ZO_GUARDED_BY(lifecycle_mutex_);
  std::shared_ptr<_EnvironmentConfig> config_ ZO_GUARDED_BY(lifecycle_mutex_);
  // The object of the last exit, stopped and empty. Kept until the next exit, so that a client's
  // call that the exit overtook fails on a live object.
  std::shared_ptr<IZOSturdyObject> last_object_ ZO_GUARDED_BY(lifecycle_mutex_);

  zo_base::Mutex environments_mutex_;
  Table environments_ ZO_GUARDED_BY(environments_mutex_);
};

}  // namespace zo_sturdy
