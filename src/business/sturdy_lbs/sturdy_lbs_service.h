#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "base/sync/thread_annotations.h"
#include "base/thread/base_thread.h"
#include "src/business/sturdy_lbs/active_document.h"
#include "src/business/sturdy_lbs/count_timer_invoker.h"
#include "src/business/sturdy_lbs/fetch_reason.h"
#include "src/business/sturdy_lbs/lbs_settings.h"
#include "src/sturdy/config/business_service.h"
#include "src/sturdy/config/lost_request_notice.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// Answers a client's question for link servers: from the document of the last run at once, and from
// the documents of the LBS servers later.
//
// A fetch runs as: UpdateLBS (any thread) posts; RequestUpdate (own thread) sends; JudgeResponse
// accepts or refuses an answer and FinishUpdate applies the outcome (both on the thread that
// carries the request); CallClient (own thread) calls the client. There is no periodic refresh. The
// code of these steps is in lbs_update.cpp, that of the rest in sturdy_lbs_service.cpp.
//
// Threads: any thread may call the client's methods. Lock order: `finish_mutex_`, the link hosts'
//          mutex, then the configuration's. Nothing that a change of the token calls takes the
//          first two.
// Owner:   a shared_ptr of the environment's object. Closures that run on foreign threads hold the
//          service while they run. Those for its own thread never do, since the last owner must not
//          be dropped there.
// Errors:  none reach the client; see the log. A failed fetch keeps the old document. Start
//          returns false without an environment, and throws if its thread can't be made; it can be
//          called again after either.
class ZOSturdyLBSServiceImpl : public IZOSturdyLBSService,
                               public IBusinessService,
                               public zo_base::BaseThread {
 public:
  ZOSturdyLBSServiceImpl();
  ~ZOSturdyLBSServiceImpl() override;
  ZOSturdyLBSServiceImpl(const ZOSturdyLBSServiceImpl&) = delete;
  ZOSturdyLBSServiceImpl& operator=(const ZOSturdyLBSServiceImpl&) = delete;

  // IZOSturdyLBSService
  bool Start(const _ZOSturdyLBSSettings& record) override;
  void Update(net::AddressFamily family) override;
  void SetUpdateCallback(void (*callback)(int code, const char* lbs_response)) override;
  void GetLBSResponse(bool no_wait, char* out) override;
  bool GetLinkAddress(char* host, uint16_t* port, net::AddressFamily* family) override;
  void GetVltDL(char* out) override;
  void GetVltDLList(char* out) override;
  void GetVltList(char* out) override;
  void GetName(char* out) override;
  void GetDesc(char* out) override;
  int32_t GetLinkHostCount() override;
  bool PeekLinkAddress(char* host, uint16_t* port, net::AddressFamily* family) override;
  void HoldLinkAddress(const char* ip, int16_t port) override;
  void GetMsgStatInfo(char* out) override;

  // BaseThread. Also ends every wait for a fetch. Blocks while a document is being applied; none is
  // applied from then on, so the next service has the cache file to itself.
  void RequestStop() override;

  // Starts a fetch; with `force` also while one is running. Does nothing before the service's
  // thread has begun (its begin fetches) and from the stop on.
  void UpdateLBS(net::AddressFamily family, bool force, FetchReason reason = FetchReason::kUpdate);

  // Of the service's fixed shape; `active_` does the work.
  bool ParseLBSResponse(const std::string& rsp, const std::string& family_text) {
    return active_.Apply(rsp, family_text);
  }
  void ParseMsgStatInfo(const std::string& text) { active_.ParseMsgStatInfo(text); }
  void ApplyLBSSettings(const _ZOSturdyLBSSettings& record);

  bool IsUpdatingForTest() const { return updatting_lbs_ != 0; }

 private:
  using BaseThread::Start;  // the thread's start, without settings

  // Whether the service's thread accepts posts.
  enum class PostState { kNotRunning, kAccepting, kStopped };

  // A fetch, from the call that began it to its end.
  struct Fetch {
    uint64_t number;  // from 1; no other fetch of this service has it
    net::AddressFamily family;
    std::string token;  // at the begin
    FetchReason reason;
    std::shared_ptr<LostRequestNotice> lost;  // ends a fetch that nothing else ends
  };

  // start
  void StartOnce(const _ZOSturdyLBSSettings& record,
                 const std::shared_ptr<_EnvironmentConfig>& config);
  void RollBackStart();
  void CutConnections();
  void OnThreadBegin();
  void OnTokenChanged();
  void OnNetworkChanged(net::AddressFamily family);
  std::string CurrentToken();

  // one fetch
  void RequestUpdate(const Fetch& fetch);
  bool JudgeResponse(const Fetch& fetch, int32_t index, int32_t code, const std::string& body,
                     bool& need_statistic);
  void FinishUpdate(const Fetch& fetch, bool success, const std::string& body)
      ZO_EXCLUDES(finish_mutex_);
  // True if the token has changed since the fetch began, or if a forced fetch has begun since.
  // Logs both tokens, with `step` in front.
  bool IsOutdated(const Fetch& fetch, const char* step);
  // Lets the next fetch begin. Returns false, and lets none begin, if the fetch was dropped before
  // it began, if a forced one has superseded it, or after a stop.
  bool EndFetch(uint64_t number, FetchReason reason);
  void PostToClient(bool success);
  void CallClient(bool success);

  // Copies a value of the store. Writes nothing if it is too long for a buffer of that size.
  void CopyValue(const char* key, char* out, size_t buffer_size);

  // The number of the newest fetch while it is under way; 0 if none is.
  std::atomic<uint64_t> updatting_lbs_{0};
  std::atomic<uint64_t> last_fetch_{0};
  std::atomic<int64_t> defaults_paused_until_ms_{0};  // on the monotonic clock
  std::atomic<bool> started_{false};
  LBSSettings settings_;
  ActiveDocument active_;
  std::atomic<void (*)(int code, const char* lbs_response)> update_callback_{nullptr};
  CountTimerInvoker update_invoker_;
  // True once a document is active: the client's methods answer from then on. Set before
  // `started_`, for a client that asks in its first callback.
  std::atomic<bool> serving_{false};
  std::atomic<PostState> post_state_{PostState::kNotRunning};
  zo_base::Mutex finish_mutex_;  // held while the outcome of a fetch is applied
  zo_base::OnceFlag start_once_;
  std::vector<zo_sigslot::connection> connections_;
};

}  // namespace zo_sturdy
