// One fetch of a document, in the order of its steps.
#include "base/log/log.h"
#include "base/thread/clock.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "network/http_status.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "src/business/sturdy_lbs/lbs_request.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {
namespace {

using KRBASE::network::kStatusOk;

// After a fetch that defaults caused, defaults cause none for this time. A client that asks again
// at once while every link server refuses would flood the LBS servers.
constexpr int64_t kPauseAfterDefaultsMs = 1200;

}  // namespace

void ZOSturdyLBSServiceImpl::Update(net::AddressFamily family) {
  ZO_LOG(LV_APP) << "[lbs]Call Update";
  update_invoker_.Invoke([this, family] { UpdateLBS(family, false, FetchReason::kUpdate); },
                         /*immediately=*/true);
}

void ZOSturdyLBSServiceImpl::SetUpdateCallback(void (*callback)(int code,
                                                                const char* lbs_response)) {
  update_callback_ = callback;
}

void ZOSturdyLBSServiceImpl::UpdateLBS(net::AddressFamily family, bool force, FetchReason reason) {
  const uint64_t number = ++last_fetch_;
  ZO_LOG(LV_APP) << "[lbs] Fetch asked for by " << TextOf(reason) << " number:" << number;
  ZO_LOG(LV_APP) << "[lbs]UpdateLBS force = " << force;
  if (post_state_ != PostState::kAccepting) {
    return;  // The post would be dropped, and nothing would clear `updatting_lbs_`.
  }
  // Drop a fetch that nobody needs.
  if (IsByDefaults(reason) && zo_base::Clock::MonotonicMs() < defaults_paused_until_ms_) {
    ZO_LOG(LV_APP) << "[lbs]UpdateLBS less than 1200ms after a fetch for defaults,return";
    return;
  }
  const auto lost = std::make_shared<LostRequestNotice>(
      zo_base::ForAnyThread(*this, GetTaskLoop(), [this, number, reason] {
        if (EndFetch(number, reason)) {
          ZO_LOG(LV_APP) << "[lbs]UpdateLBS lost its request";
          PostToClient(false);
        }
      }));
  uint64_t none = 0;
  if (force) {
    updatting_lbs_ = number;
  } else if (!updatting_lbs_.compare_exchange_strong(none, number)) {
    ZO_LOG(LV_APP) << "[lbs]UpdateLBS updatting_lbs_ = true,return";
    return;
  }
  // Begin it.
  ZO_LOG(LV_APP) << "[lbs]UpdateLBS set updatting = true";
  const Fetch fetch = {number, family, CurrentToken(), reason, lost};
  // Post on the thread object: locking the loop's weak pointer would make this thread an owner of
  // the service.
  zo_base::PostTo(static_cast<zo_base::ITaskDelegate&>(*this),
                  ToWeakClosure([this, fetch] { RequestUpdate(fetch); }));
  if (post_state_ != PostState::kAccepting) {
    updatting_lbs_ = 0;  // the stop came in between
  }
}

void ZOSturdyLBSServiceImpl::RequestUpdate(const Fetch& fetch) {
  const auto config = GetEnvironmentConfig();
  if (config == nullptr) {
    return;
  }
  // Build the request.
  const LBSQuery query = {fetch.token, config->sv, config->pv, config->tp,
                          settings_.address_family};
  MultipleURLHttpRequest request =
      BuildLBSRequest(active_.response().GetFetchUrls(), query, fetch.family);
  // Ask for a refusal: a service that is gone refuses nothing, so the first answer ends the
  // request.
  auto refuses = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [this, fetch](int32_t index, int32_t code, const std::string& body, bool& need_statistic) {
        return !JudgeResponse(fetch, index, code, body, need_statistic);
      });
  request.check = [refuses](int32_t index, int32_t code, const std::string&,
                            const std::string& body, bool& need_statistic) mutable {
    return !refuses(index, code, body, need_statistic);
  };
  request.callback = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [this, fetch](bool success, const std::string&, const std::string& body) {
        FinishUpdate(fetch, success, body);
      });
  // Send it. Without a URL `updatting_lbs_` stays set: only a forced fetch can follow.
  if (request.urls.empty()) {
    ZO_LOG(LV_APP) << "[lbs] LBS addr url list empty!";
    fetch.lost->Answered();
    return;
  }
  ZO_LOG(LV_APP) << "[lbs] Fetch begins number:" << fetch.number;
  ZO_LOG(LV_APP) << "[lbs] Begin update LBS";
  SendMultipleURLRequest(request, true);
}

bool ZOSturdyLBSServiceImpl::IsOutdated(const Fetch& fetch, const char* step) {
  const std::string token = CurrentToken();
  ZO_LOG(LV_APP) << step << " current business token :" << token
                 << " request business token:" << fetch.token;
  if (token != fetch.token) {
    return true;  // the change has begun a forced fetch
  }
  const uint64_t newest = updatting_lbs_;
  if (newest != fetch.number) {
    ZO_LOG(LV_APP) << step << " superseded by a forced fetch";
  }
  return newest != fetch.number;
}

bool ZOSturdyLBSServiceImpl::JudgeResponse(const Fetch& fetch, int32_t index, int32_t code,
                                           const std::string& body, bool& need_statistic) {
  if (post_state_ == PostState::kStopped || IsOutdated(fetch, "[lbs] Check response")) {
    return true;  // ends the request; FinishUpdate drops the answer
  }
  ZO_LOG(LV_APP) << "[lbs] Check response index:" << index << " code:" << code;
  if (code == kStatusOk && active_.response().CheckResponse(body)) {
    ZO_LOG(LV_APP) << "[lbs] Check response res = true";
    return true;
  }
  if (code == kStatusOk) {
    ZO_LOG(LV_APP) << "[lbs] Check response res = false for body error"
                   << zo_base::Framed{body, "body:\r\n"};
  } else {
    ZO_LOG(LV_APP) << "[lbs] Check response res = false";
  }
  need_statistic = true;
  return false;
}

void ZOSturdyLBSServiceImpl::FinishUpdate(const Fetch& fetch, bool success,
                                          const std::string& body) {
  const zo_base::MutexLock lock(finish_mutex_);
  // Leave `updatting_lbs_` set for an outdated fetch: the end of the newest one clears it.
  if (post_state_ == PostState::kStopped || IsOutdated(fetch, "[lbs] Update LBS complete")) {
    fetch.lost->Answered();
    return;
  }
  // Apply the document.
  ZO_LOG(LV_APP) << "[lbs] Update LBS success = " << success;
  ZO_LOG(LV_APP) << "[lbs] Update LBS " << zo_base::Framed{body};
  if (success) {
    active_.ApplyFetched(body, std::to_string(static_cast<int32_t>(fetch.family)));
  }
  // Let the next fetch begin, then call the client, which may ask for it.
  EndFetch(fetch.number, fetch.reason);
  fetch.lost->Answered();
  PostToClient(success);
}

bool ZOSturdyLBSServiceImpl::EndFetch(uint64_t number, FetchReason reason) {
  if (updatting_lbs_ != number) {
    return false;  // it was dropped before it began, or a forced one has superseded it
  }
  if (IsByDefaults(reason)) {
    defaults_paused_until_ms_ = zo_base::Clock::MonotonicMs() + kPauseAfterDefaultsMs;
  }
  const bool is_newest = updatting_lbs_.compare_exchange_strong(number, 0);
  if (is_newest) {
    ZO_LOG(LV_APP) << "[lbs]UpdateLBS set updatting = false";
  }
  return is_newest;
}

void ZOSturdyLBSServiceImpl::PostToClient(bool success) {
  if (update_callback_ != nullptr) {
    ZO_LOG(LV_APP) << "[lbs] Update LBS compare post task to lbs thread for callback";
    zo_base::PostTo(static_cast<zo_base::ITaskDelegate&>(*this),
                    ToWeakClosure([this, success] { CallClient(success); }));
  }
}

void ZOSturdyLBSServiceImpl::CallClient(bool success) {
  ZO_LOG(LV_APP) << "[lbs] Update LBS compare callback sdk";
  const std::string text = active_.response().Get(lbs_key::kResponse);
  const auto callback = update_callback_.load();
  if (callback != nullptr) {
    callback(success ? kStatusOk : 0, text.c_str());
  }
}

}  // namespace zo_sturdy
