// How an environment comes up and goes down, and the three exports. This stands above the agent
// and the services, which know EnvironmentManager only as the holder of the configuration.
#include <memory>

#include "base/log/log.h"
#include "base/platform/thread.h"
#include "network/http_client.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/environment/environment_manager.h"
#include "src/sturdy/environment/sturdy_object_impl.h"

namespace zo_sturdy {
namespace {

static_assert(kMaxBodyBytes <= static_cast<int>(kMaxDocumentSize),
              "the buffers of sturdy.h must hold the largest answer");
static_assert(kMaxTransferMs <= 30000, "the exit bound of sturdy.h counts on this");

constexpr int32_t kOnlyId = 1;

// Marks the start and, as it always has, the exit too.
constexpr const char* kBanner =
    "\r\n----------------------------------------------------- start "
    "-----------------------------------------------------";

std::shared_ptr<ZOSturdyObjectImpl> ToImpl(const std::shared_ptr<IZOSturdyObject>& object) {
  return std::static_pointer_cast<ZOSturdyObjectImpl>(object);
}

}  // namespace

int32_t EnvironmentManager::StartOnce(const _ZOSturdyEnvironmentSettings& settings) {
  zo_base::MutexLock lock(lifecycle_mutex_);
  // The analysis can't see that Call runs this here, under the lock.
  start_once_.Call([&]() ZO_NO_THREAD_SAFETY_ANALYSIS {
    try {
      Start(settings);
    } catch (...) {
      ZO_LOG(LV_APP) << "[environment] Start failed";
      KRBASE::network::HttpClient::Instance()->Stop();
      LetGo();
      throw;
    }
  });
  return ToImpl(Find(kOnlyId))->id;
}

void EnvironmentManager::Start(const _ZOSturdyEnvironmentSettings& settings) {
  if (!at_exit_manager_) {
    at_exit_manager_ = zo_base::IAtExitManager<zo_base::SturdyObject>::Get();
  }
  auto config = GetConfig();
  if (!config) {
    config = std::make_shared<_EnvironmentConfig>();
    SetConfig(config);
  }
  config->ApplySettings(settings);

  auto* log = zo_base::TQLogImpl<zo_base::SturdyObject>::Instance();
  log->SetLogFile(config->data_path + "sturdy_comp.log", 0, 0);
  log->SetLevel(zo_base::LV_APP);
  ZO_LOG(LV_APP) << kBanner;
  CreateEnvironment();
}

void EnvironmentManager::CreateEnvironment() {
  const auto object = std::make_shared<ZOSturdyObjectImpl>();
  object->SetEnvironmentConfig(GetConfig());
  object->id = static_cast<int32_t>(++next_id_);
  try {
    object->Init();
  } catch (...) {
    object->Stop();
    throw;
  }
  zo_base::MutexLock lock(environments_mutex_);
  environments_[object->id] = object;
}

void EnvironmentManager::StopAndExit(int32_t id) {
  zo_base::MutexLock lock(lifecycle_mutex_);
  if (const auto object = ToImpl(Find(id))) {
    {
      zo_base::MutexLock table_lock(environments_mutex_);
      environments_.erase(object->id);
    }
    object->Stop();
    ended_ = object;
  }
  KRBASE::network::HttpClient::Instance()->Stop();
  Exit();
}

void EnvironmentManager::Exit() {
  LetGo();
  start_once_.Reset();
}

// Ends what is left in the table and forgets the configuration; the next start finds all as new.
void EnvironmentManager::LetGo() {
  stopping_all_ = true;
  ForEach([this](int /*id*/, const std::shared_ptr<IZOSturdyObject>& object)
              ZO_NO_THREAD_SAFETY_ANALYSIS {
                ToImpl(object)->Stop();
                ended_ = object;
              });
  stopping_all_ = false;
  Clear();
  SetConfig(nullptr);
  ZO_LOG(LV_APP) << kBanner;
  at_exit_manager_.reset();
  next_id_ = 0;
}

int StartSturdyEnvironment(const _ZOSturdyEnvironmentSettings& settings) {
  auto& manager = EnvironmentManager::Instance();
  if (zo_base::IsLibraryThread()) {
    // An exit may be waiting for this very thread, so it can't wait for the exit.
    const auto object = ToImpl(manager.Find(kOnlyId));
    if (!object) {
      ZO_LOG(LV_APP) << "[environment] Start on a thread of the library, ignored";
    }
    return object ? object->id : 0;
  }
  const _ZOSturdyEnvironmentSettings copy = settings;
  return manager.StartOnce(copy);
}

IZOSturdyObject* GetSturdyObject(int id) {
  return EnvironmentManager::Instance().Find(id).get();
}

void ExitSturdyEnvironment(int id) {
  if (zo_base::IsLibraryThread()) {
    ZO_LOG(LV_APP) << "[environment] Exit on a thread of the library, ignored";
    return;
  }
  EnvironmentManager::Instance().StopAndExit(id);
}

}  // namespace zo_sturdy
