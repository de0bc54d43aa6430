#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

#include <chrono>
#include <cstring>
#include <new>
#include <optional>
#include <thread>

#include "base/log/log.h"
#include "base/platform/thread.h"
#include "base/thread/for_any_thread.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/config/record_fields.h"

namespace zo_sturdy {

namespace {

// The third default causes a fetch. So does the first, after this time, on a thread with a loop.
constexpr int32_t kUpdateAfterDefaults = 3;
constexpr int32_t kUpdateAfterMs = 1200;

constexpr std::chrono::milliseconds kPollInterval{10};

// Writes no NUL: the client has zeroed the buffer.
void Write(const LinkAddress& address, char* host, uint16_t* port, net::AddressFamily* family) {
  address.host.copy(host, address.host.size());
  *port = address.port;
  *family = address.family;
}

}  // namespace

ZOSturdyLBSServiceImpl::ZOSturdyLBSServiceImpl()
    : BaseThread("lbs service"),
      active_(settings_),
      update_invoker_(kUpdateAfterDefaults, kUpdateAfterMs) {}

// The stop in the base's destructor would come after the members that tasks use are gone.
ZOSturdyLBSServiceImpl::~ZOSturdyLBSServiceImpl() {
  BaseThread::Stop();
  CutConnections();
}

bool ZOSturdyLBSServiceImpl::Start(const _ZOSturdyLBSSettings& record) {
  const auto config = GetEnvironmentConfig();
  if (!started_ && config != nullptr) {
    start_once_.Call([&] {
      try {
        StartOnce(record, config);
      } catch (...) {
        RollBackStart();
        throw;
      }
    });
  }
  return started_;
}

void ZOSturdyLBSServiceImpl::StartOnce(const _ZOSturdyLBSSettings& record,
                                       const std::shared_ptr<_EnvironmentConfig>& config) {
  connections_.reserve(3);  // a failed start must know each connection that it has made
  {
    // Hold the lock until the settings are there: a change of the network comes before or after.
    zo_base::RecursiveMutexLock no_change(config->mutex);
    config->address_family = static_cast<net::AddressFamily>(FieldFamily(record.address_family));
    connections_.push_back(config->Connect(
        _EnvironmentConfig::SIG_NetworkChanged,
        zo_base::ForAnyThread(*this, GetTaskLoop(),
                              [this](net::AddressFamily family) { OnNetworkChanged(family); })));
    connections_.push_back(config->Connect(
        _EnvironmentConfig::SIG_BusinessTokenChanged,
        zo_base::ForAnyThread(*this, GetTaskLoop(),
                              [this](const std::string& /*token*/) { OnTokenChanged(); })));
    ApplyLBSSettings(record);
  }
  LogSettings(settings_);
  active_.Load(config);
  connections_.push_back(
      Connect(IThread::SIG_ThreadBegin, ToWeakClosure([this] { OnThreadBegin(); })));
  serving_ = true;
  BaseThread::Start();
  started_ = true;
}

// Leaves the service as new for another Start.
void ZOSturdyLBSServiceImpl::RollBackStart() {
  serving_ = false;
  PostState accepting = PostState::kAccepting;
  post_state_.compare_exchange_strong(accepting, PostState::kNotRunning);
  CutConnections();
}

// The configuration outlives a released service, whose connections would pile up there.
void ZOSturdyLBSServiceImpl::CutConnections() {
  const auto config = GetEnvironmentConfig();  // held while its connections are cut
  if (config == nullptr) {
    return;  // they have ended with it
  }
  for (zo_sigslot::connection& connection : connections_) {
    try {
      connection.disconnect();
    } catch (const std::bad_alloc&) {
      continue;  // it stays until the exit; once the service is gone it does nothing
    }
  }
  connections_.clear();
}

void ZOSturdyLBSServiceImpl::RequestStop() {
  if (post_state_.exchange(PostState::kStopped) != PostState::kStopped) {
    // Wait while a document is applied, at the first stop only: the destructor's stop may run in a
    // signal slot that holds the configuration's mutex, which must be taken after this one.
    const zo_base::MutexLock applied(finish_mutex_);
  }
  updatting_lbs_ = 0;
  BaseThread::RequestStop();
}

void ZOSturdyLBSServiceImpl::OnThreadBegin() {
  // Set before the token is read: a token that comes later then starts its own fetch.
  PostState not_running = PostState::kNotRunning;
  post_state_.compare_exchange_strong(not_running, PostState::kAccepting);
  if (!CurrentToken().empty()) {
    update_invoker_.Invoke(
        [this] { UpdateLBS(settings_.address_family, false, FetchReason::kStart); },
        /*immediately=*/true);
  }
}

void ZOSturdyLBSServiceImpl::OnTokenChanged() {
  update_invoker_.Invoke([this] { UpdateLBS(settings_.address_family, true, FetchReason::kToken); },
                         /*immediately=*/true);
}

void ZOSturdyLBSServiceImpl::OnNetworkChanged(net::AddressFamily family) {
  const net::AddressFamily before = settings_.address_family.exchange(family);
  try {
    if (!CurrentToken().empty()) {
      update_invoker_.Invoke(
          [this, family, before] { UpdateLBS(family, before != family, FetchReason::kNetwork); },
          /*immediately=*/true);
    }
  } catch (...) {
    settings_.address_family = before;  // so that the client's next call is a change again
    throw;
  }
}

std::string ZOSturdyLBSServiceImpl::CurrentToken() {
  const auto config = GetEnvironmentConfig();
  return config != nullptr ? config->GetBusinessToken() : std::string();
}

void ZOSturdyLBSServiceImpl::ApplyLBSSettings(const _ZOSturdyLBSSettings& record) {
  zo_sturdy::ApplyLBSSettings(record, settings_);
}

bool ZOSturdyLBSServiceImpl::GetLinkAddress(char* host, uint16_t* port,
                                            net::AddressFamily* family) {
  if (host == nullptr || port == nullptr || family == nullptr || !serving_) {
    return false;
  }
  const LinkAddress address = active_.links().Next(*family, [this] {
    const auto fetch_for = [this](FetchReason reason) {
      return ToWeakClosure(
          [this, reason] { UpdateLBS(settings_.address_family, /*force=*/false, reason); });
    };
    update_invoker_.Invoke(fetch_for(FetchReason::kThirdDefault), /*immediately=*/false,
                           fetch_for(FetchReason::kDefaultTimer));
  });
  Write(address, host, port, family);
  return true;
}

bool ZOSturdyLBSServiceImpl::PeekLinkAddress(char* host, uint16_t* port,
                                             net::AddressFamily* family) {
  if (host == nullptr || port == nullptr || family == nullptr || !serving_) {
    return false;
  }
  const std::optional<LinkAddress> address = active_.links().Peek();
  if (address) {
    Write(*address, host, port, family);
  }
  return address.has_value();
}

void ZOSturdyLBSServiceImpl::HoldLinkAddress(const char* ip, int16_t port) {
  if (ip != nullptr && serving_) {
    active_.links().Hold(ip, port);
  }
}

int32_t ZOSturdyLBSServiceImpl::GetLinkHostCount() {
  return serving_ ? active_.links().count() : 0;
}

void ZOSturdyLBSServiceImpl::GetLBSResponse(bool no_wait, char* out) {
  if (out == nullptr) {
    return;
  }
  const auto held = weak_from_this().lock();  // another thread may release the service meanwhile
  // A thread of the library must not wait: the fetch may need it.
  if (!no_wait && !zo_base::IsLibraryThread()) {
    while (updatting_lbs_ != 0 && post_state_ != PostState::kStopped) {
      std::this_thread::sleep_for(kPollInterval);
    }
    if (post_state_ == PostState::kStopped) {
      return;
    }
  }
  CopyValue(lbs_key::kResponse, out, kLBSResponseBufferSize);
}

void ZOSturdyLBSServiceImpl::GetVltDL(char* out) {
  CopyValue(lbs_key::kVltDL, out, kVltDLBufferSize);
}

void ZOSturdyLBSServiceImpl::GetVltDLList(char* out) {
  CopyValue(lbs_key::kVltDLList, out, kVltDLListBufferSize);
}

void ZOSturdyLBSServiceImpl::GetVltList(char* out) {
  CopyValue(lbs_key::kVltList, out, kVltListBufferSize);
}

void ZOSturdyLBSServiceImpl::GetName(char* out) {
  CopyValue(lbs_key::kName, out, kNameBufferSize);
}

void ZOSturdyLBSServiceImpl::GetDesc(char* out) {
  CopyValue(lbs_key::kDesc, out, kDescBufferSize);
}

void ZOSturdyLBSServiceImpl::CopyValue(const char* key, char* out, size_t buffer_size) {
  if (out == nullptr || !serving_) {
    return;
  }
  const std::string value = active_.response().Get(key);
  if (value.size() >= buffer_size) {
    ZO_LOG(LV_APP) << "[lbs] Value too long for the client :" << key << " size :" << value.size();
    return;
  }
  value.copy(out, value.size());  // without a NUL: the client has zeroed the buffer
}

void ZOSturdyLBSServiceImpl::GetMsgStatInfo(char* out) {
  if (out == nullptr) {
    return;
  }
  const _ZOSturdyMsgStatInfo record = active_.MsgStatRecord();
  std::memcpy(out, &record, sizeof(record));
}

}  // namespace zo_sturdy
