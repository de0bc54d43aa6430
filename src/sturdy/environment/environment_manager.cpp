#include "src/sturdy/environment/environment_manager.h"

#include <string>
#include <thread>

#include "base/log/log.h"
#include "base/log/log_format.h"
#include "base/platform/file.h"
#include "base/platform/thread.h"
#include "base/process/no_destructor.h"
#include "base/process/unload_hook.h"
#include "network/http_client.h"
#include "src/sturdy/config/current_config.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/environment/sturdy_object_impl.h"
#include "src/sturdy/http_agent/logic/live_requests.h"

namespace zo_sturdy {

namespace {

using KRBASE::network::HttpClient;

static_assert(kMaxBodyBytes <= static_cast<int>(kMaxDocumentSize),
              "the buffers of sturdy.h must hold the largest answer");
static_assert(kMaxTransferMs <= 30000, "the exit bound of sturdy.h counts on this");

constexpr int32_t kOnlyId = 1;

// Logged at the start and at the exit.
constexpr const char* kBanner =
    "\r\n----------------------------------------------------- start "
    "-----------------------------------------------------";

std::shared_ptr<ZOSturdyObjectImpl> ToImpl(const std::shared_ptr<IZOSturdyObject>& object) {
  return std::static_pointer_cast<ZOSturdyObjectImpl>(object);
}

// Makes no client: a start that has failed may have made none, and there may be no memory for it.
void StopHttpClient() {
  if (HttpClient* const client = HttpClient::Current()) {
    client->Stop();
  }
}

}  // namespace

EnvironmentManager& EnvironmentManager::Instance() {
  static zo_base::NoDestructor<EnvironmentManager> manager;
  return *manager;
}

EnvironmentManager::EnvironmentManager() {
  zo_base::AtUnload([] { Instance().DropLastObject(); });
}

void EnvironmentManager::DropLastObject() {
  const zo_base::MutexLock lock(lifecycle_mutex_);
  last_object_.reset();
}

std::shared_ptr<_EnvironmentConfig> EnvironmentManager::GetConfig() const {
  return CurrentConfig();
}

int32_t EnvironmentManager::StartOnce(const _ZOSturdyEnvironmentSettings& settings) {
  const zo_base::MutexLock lock(lifecycle_mutex_);
  // The analysis can't see that Call runs this here, under the lock.
  start_once_.Call([&]() ZO_NO_THREAD_SAFETY_ANALYSIS {
    try {
      started_in_ = zo_base::CurrentProcessId();
      Start(settings);
    } catch (...) {
      ZO_LOG(LV_APP) << "[environment] Start failed";
      StopHttpClient();
      TearDown();
      throw;
    }
  });
  return ToImpl(Find(kOnlyId))->id;
}

void EnvironmentManager::Start(const _ZOSturdyEnvironmentSettings& settings) {
  if (!at_exit_manager_) {
    at_exit_manager_ = zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  }
  if (!config_) {
    config_ = std::make_shared<_EnvironmentConfig>();
    SetCurrentConfig(config_);
  }
  config_->ApplySettings(settings);
  // Log and caches are opened by this path again and again. A relative one would move with the
  // host's working directory.
  config_->data_path = zo_base::AbsolutePath(config_->data_path);

  auto* log = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
  log->SetLogFile(config_->data_path + std::string(zo_base::kLogFileName), 0, 0);
  log->SetLevel(zo_base::LV_APP);
  ZO_LOG(LV_APP) << kBanner;
  ZO_LOG(LV_APP) << "[environment] Start version:" STURDY_VERSION_STRING " business:"
                 << config_->business << " sdk_version:" << config_->sdk_version_text
                 << " sv:" << config_->sv << " pv:" << config_->pv << " tp:" << config_->tp
                 << " key:" << (config_->GetBusinessToken().empty() ? "none" : "set")
                 << " data_path:" << config_->data_path;
  CreateEnvironment();
}

void EnvironmentManager::CreateEnvironment() {
  const auto object = std::make_shared<ZOSturdyObjectImpl>();
  object->SetEnvironmentConfig(config_);
  object->id = static_cast<int32_t>(++next_id_);
  try {
    object->Init();
  } catch (...) {
    object->Stop();
    throw;
  }
  const zo_base::MutexLock lock(environments_mutex_);
  environments_[object->id] = object;
}

bool EnvironmentManager::IsStartedHere() const {
  return started_in_ == zo_base::CurrentProcessId();
}

void EnvironmentManager::StopAndExit(int32_t id) {
  const zo_base::MutexLock lock(lifecycle_mutex_);
  // Ask every thread to end before the first join, so that what they wait for overlaps.
  if (const auto object = ToImpl(Find(kOnlyId))) {
    object->RequestStop();
  }
  if (HttpClient* const client = HttpClient::Current()) {
    client->RequestStop();
  }
  if (const auto object = ToImpl(Find(id))) {
    {
      const zo_base::MutexLock table_lock(environments_mutex_);
      environments_.erase(object->id);
    }
    object->Stop();
    last_object_ = object;
  }
  StopHttpClient();
  Exit();
}

void EnvironmentManager::Exit() {
  TearDown();
  start_once_.Reset();
}

void EnvironmentManager::TearDown() {
  stopping_all_ = true;
  ForEach([this](int /*id*/, const std::shared_ptr<IZOSturdyObject>& object)
              ZO_NO_THREAD_SAFETY_ANALYSIS {
                ToImpl(object)->Stop();
                last_object_ = object;
              });
  stopping_all_ = false;
  LiveRequests::Instance().FreeAll();
  Clear();
  SetCurrentConfig(nullptr);
  config_.reset();
  ZO_LOG(LV_APP) << "[environment] Exit";
  ZO_LOG(LV_APP) << kBanner;
  at_exit_manager_.reset();
  next_id_ = 0;
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
  const zo_base::MutexLock lock(environments_mutex_);
  for (const auto& [id, object] : environments_) {
    visit(id, object);
  }
}

void EnvironmentManager::Clear() {
  // Declared before the lock, so that the objects are destroyed after its release.
  Table table;
  const zo_base::MutexLock lock(environments_mutex_);
  environments_.swap(table);
}

int StartSturdyEnvironment(const _ZOSturdyEnvironmentSettings& settings) {
  auto& manager = EnvironmentManager::Instance();
  if (zo_base::IsLibraryThread()) {
    // Must not wait for an exit, which may be joining this very thread.
    const auto object = ToImpl(manager.Find(kOnlyId));
    if (!object) {
      ZO_LOG(LV_APP) << "[environment] Start on a thread of the library, ignored";
    }
    return object ? object->id : 0;
  }
  // The start may wait for an exit, and another thread may reuse the record meanwhile.
  const _ZOSturdyEnvironmentSettings copy = settings;
  return manager.StartOnce(copy);
}

IZOSturdyObject* GetSturdyObject(int id) {
  return EnvironmentManager::Instance().Find(id).get();
}

void ExitSturdyEnvironment(int id) {
  auto& manager = EnvironmentManager::Instance();
  // Ask first: the log of a forked child is its parent's.
  if (!manager.IsStartedHere()) {
    return;
  }
  if (zo_base::IsLibraryThread()) {
    ZO_LOG(LV_APP) << "[environment] Exit on a thread of the library, ignored";
    return;
  }
  manager.StopAndExit(id);
}

}  // namespace zo_sturdy
