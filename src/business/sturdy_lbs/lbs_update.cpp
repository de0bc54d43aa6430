// One fetch of a document, in the order of its steps.
#include "base/log/log.h"
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

// A document of the largest size can name a hundred thousand backups. Trying them all would take
// days and hold up every other fetch.
constexpr size_t kMaxLbsUrls = 64;

}  // namespace

void ZOSturdyLBSServiceImpl::Update(net::AddressFamily family) {
  ZO_LOG(LV_APP) << "[lbs]Call Update";
  update_invoker_.Invoke([this, family] { UpdateLBS(family, false); }, /*immediately=*/true);
}

void ZOSturdyLBSServiceImpl::SetUpdateCallback(void (*callback)(int code,
                                                                const char* lbs_response)) {
  update_callback_ = callback;
}

void ZOSturdyLBSServiceImpl::UpdateLBS(net::AddressFamily family, bool force) {
  ZO_LOG(LV_APP) << "[lbs]UpdateLBS force = " << force;
  if (post_state_ != PostState::kAccepting) {
    return;  // The post would be dropped, and nothing would clear `updatting_lbs_`.
  }
  if (updatting_lbs_.exchange(true) && !force) {
    ZO_LOG(LV_APP) << "[lbs]UpdateLBS updatting_lbs_ = true,return";
    return;
  }
  ZO_LOG(LV_APP) << "[lbs]UpdateLBS set updatting = true";
  const std::string request_token = CurrentToken();
  // Post on the thread object: locking the loop's weak pointer would make this thread an owner of
  // the service.
  zo_base::PostTo(
      static_cast<zo_base::ITaskDelegate&>(*this),
      ToWeakClosure([this, family, request_token] { RequestUpdate(family, request_token); }));
  if (post_state_ != PostState::kAccepting) {
    updatting_lbs_ = false;  // the stop came in between
  }
}

void ZOSturdyLBSServiceImpl::RequestUpdate(net::AddressFamily family,
                                           const std::string& request_token) {
  const auto config = GetEnvironmentConfig();
  if (config == nullptr) {
    return;
  }
  // Collect the URLs: the runtime one, then the backups.
  std::vector<std::string> urls = {active_.response().Get(lbs_key::kRuntimeAddress)};
  for (std::string& backup : active_.response().GetBackupLBS()) {
    if (urls.size() < kMaxLbsUrls && backup.size() <= kMaxLbsUrlBytes) {
      urls.push_back(std::move(backup));
    }
  }
  // Build the request.
  const LBSQuery query = {request_token, config->sv, config->pv, config->tp,
                          settings_.address_family};
  MultipleURLHttpRequest request = BuildLBSRequest(urls, query, family);
  // Ask for a refusal: once the service is gone there is none, so the first answer ends the
  // request.
  auto refuses = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [this, request_token](int32_t index, int32_t code, const std::string& body,
                            bool& need_statistic) {
        return !JudgeResponse(request_token, index, code, body, need_statistic);
      });
  request.check = [refuses](int32_t index, int32_t code, const std::string&,
                            const std::string& body, bool& need_statistic) mutable {
    return !refuses(index, code, body, need_statistic);
  };
  request.callback = zo_base::ForAnyThread(
      *this, GetTaskLoop(),
      [this, family, request_token](bool success, const std::string&, const std::string& body) {
        FinishUpdate(family, request_token, success, body);
      });
  // Send it. Without a URL `updatting_lbs_` stays set: only a forced fetch can follow.
  if (request.urls.empty()) {
    ZO_LOG(LV_APP) << "[lbs] LBS addr url list empty!";
    return;
  }
  ZO_LOG(LV_APP) << "[lbs] Begin update LBS";
  SendMultipleURLRequest(request, true);
}

bool ZOSturdyLBSServiceImpl::JudgeResponse(const std::string& request_token, int32_t index,
                                           int32_t code, const std::string& body,
                                           bool& need_statistic) {
  if (post_state_ == PostState::kStopped) {
    return true;  // ends the request; FinishUpdate drops the answer
  }
  const std::string token = CurrentToken();
  ZO_LOG(LV_APP) << "[lbs] Check response current business token :" << token
                 << " request business token:" << request_token;
  if (token != request_token) {
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

void ZOSturdyLBSServiceImpl::FinishUpdate(net::AddressFamily family,
                                          const std::string& request_token, bool success,
                                          const std::string& body) {
  const zo_base::MutexLock lock(finish_mutex_);
  if (post_state_ == PostState::kStopped) {
    return;
  }
  // Drop an answer to an outdated token.
  const std::string token = CurrentToken();
  ZO_LOG(LV_APP) << "[lbs] Update LBS complete current business token :" << token
                 << " request business token:" << request_token;
  if (token != request_token) {
    // Leave `updatting_lbs_` set: each change of the token has started a forced fetch, whose end
    // clears it.
    return;
  }
  // Apply the document.
  ZO_LOG(LV_APP) << "[lbs] Update LBS success = " << success;
  ZO_LOG(LV_APP) << "[lbs] Update LBS " << zo_base::Framed{body};
  if (success) {
    active_.Apply(body, std::to_string(static_cast<int32_t>(family)));
  }
  // Call the client, and let the next fetch begin.
  if (update_callback_ != nullptr) {
    ZO_LOG(LV_APP) << "[lbs] Update LBS compare post task to lbs thread for callback";
    zo_base::PostTo(static_cast<zo_base::ITaskDelegate&>(*this),
                    ToWeakClosure([this, success] { CallClient(success); }));
  }
  updatting_lbs_ = false;
  ZO_LOG(LV_APP) << "[lbs]UpdateLBS set updatting = false";
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
