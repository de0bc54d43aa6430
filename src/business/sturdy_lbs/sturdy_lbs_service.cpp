#include "src/business/sturdy_lbs/sturdy_lbs_service.h"

#include "base/log/log.h"
#include "base/thread/for_any_thread.h"
#include "src/sturdy/config/environment_config.h"
#include "src/sturdy/config/record_fields.h"

namespace zo_sturdy {

namespace {

// The third address from the defaults asks for a new document, or the time after the first.
constexpr int32_t kUpdateAfterDefaults = 3;
constexpr int32_t kUpdateAfterMs = 1200;

}  // namespace

ZOSturdyLBSServiceImpl::ZOSturdyLBSServiceImpl()
    : BaseThread("lbs service"),
      update_invoker_(kUpdateAfterDefaults, kUpdateAfterMs),
      msg_stat_info_(MsgStatInfo()) {}

// The base's stop would come when the members that tasks work on are gone.
ZOSturdyLBSServiceImpl::~ZOSturdyLBSServiceImpl() {
  BaseThread::Stop();
}

bool ZOSturdyLBSServiceImpl::Start(const _ZOSturdyLBSSettings& settings) {
  const auto config = GetEnvironmentConfig();
  if (!started_ && config != nullptr) {
    start_once_.Call([&] {
      try {
        StartOnce(settings, config);
      } catch (...) {
        ForgetStart();
        throw;
      }
    });
  }
  return started_;
}

void ZOSturdyLBSServiceImpl::StartOnce(const _ZOSturdyLBSSettings& record,
                                       const std::shared_ptr<_EnvironmentConfig>& c) {
  c->address_family = static_cast<net::AddressFamily>(FieldFamily(record.address_family));
  connections_.push_back(c->Connect(
      _EnvironmentConfig::SIG_NetworkChanged,
      zo_base::ForAnyThread(*this, GetTaskLoop(),
                            [this](net::AddressFamily family) { OnNetworkChanged(family); })));
  connections_.push_back(c->Connect(
      _EnvironmentConfig::SIG_BusinessTokenChanged,
      zo_base::ForAnyThread(*this, GetTaskLoop(),
                            [this](const std::string& /*token*/) { OnTokenChanged(); })));
  ApplyLBSSettings(record);
  response_.SetEnvironmentConfig(c);
  ChooseActiveData();
  if (!ParseActiveData()) {
    // The defaults were lost on their way through the file, on a full disk say.
    response_.ResetToDefault(settings_, false);
    ParseActiveData();
  }
  connections_.push_back(
      Connect(IThread::SIG_ThreadBegin, ToWeakClosure([this] { OnThreadBegin(); })));
  serving_ = true;
  BaseThread::Start();
  started_ = true;
}

void ZOSturdyLBSServiceImpl::ChooseActiveData() {
  if (!response_.LoadCache()) {
    response_.ResetToDefault(settings_, true);
  } else if (!response_.CheckCache(settings_)) {
    response_.ResetToDefault(settings_, true);
    return;
  }
  if (!response_.CheckResponse(response_.Get(lbs_key::kResponse))) {
    response_.ResetToDefault(settings_, true);
  }
}

bool ZOSturdyLBSServiceImpl::ParseActiveData() {
  const std::string family_text = response_.Get(lbs_key::kFamily);
  return ParseLBSResponse(response_.Get(lbs_key::kResponse), family_text);
}

// Another Start must find the service as new.
void ZOSturdyLBSServiceImpl::ForgetStart() {
  serving_ = false;
  for (zo_sigslot::connection& connection : connections_) {
    connection.disconnect();
  }
  connections_.clear();
}

void ZOSturdyLBSServiceImpl::RequestStop() {
  if (posts_.exchange(Posts::kNoMore) != Posts::kNoMore) {
    // Only the first stop has a document to wait for. The destructor's may run in a slot, with the
    // configuration's mutex held, which comes after this lock.
    const zo_base::MutexLock applied(finish_mutex_);
  }
  updatting_lbs_ = false;
  BaseThread::RequestStop();
}

void ZOSturdyLBSServiceImpl::OnThreadBegin() {
  // Before the token is read: a token that comes later finds the thread open for its own update.
  Posts not_yet = Posts::kNotYet;
  posts_.compare_exchange_strong(not_yet, Posts::kTaken);
  if (!CurrentToken().empty()) {
    update_invoker_.Invoke([this] { UpdateLBS(settings_.address_family, false); }, true);
  }
}

void ZOSturdyLBSServiceImpl::OnTokenChanged() {
  update_invoker_.Invoke([this] { UpdateLBS(settings_.address_family, true); }, true);
}

void ZOSturdyLBSServiceImpl::OnNetworkChanged(net::AddressFamily family) {
  const bool changed = settings_.address_family.exchange(family) != family;
  if (!CurrentToken().empty()) {
    update_invoker_.Invoke([this, family, changed] { UpdateLBS(family, changed); }, true);
  }
}

std::string ZOSturdyLBSServiceImpl::CurrentToken() {
  const auto config = GetEnvironmentConfig();
  return config != nullptr ? config->GetBusinessToken() : std::string();
}

void ZOSturdyLBSServiceImpl::ApplyLBSSettings(const _ZOSturdyLBSSettings& record) {
  zo_sturdy::ApplyLBSSettings(record, settings_);
}

}  // namespace zo_sturdy
