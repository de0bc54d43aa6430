#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/sync/mutex.h"
#include "base/sync/once_flag.h"
#include "base/sync/snapshot.h"
#include "base/sync/thread_annotations.h"
#include "base/thread/base_thread.h"
#include "src/business/sturdy_lbs/count_timer_invoker.h"
#include "src/business/sturdy_lbs/host_chooser/host_chooser.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "src/business/sturdy_lbs/lbs_response.h"
#include "src/business/sturdy_lbs/lbs_settings.h"
#include "src/business/sturdy_lbs/msg_stat_info.h"
#include "src/sturdy/config/business_service.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// The service that answers the client's question for link servers: it serves from the document of
// the last run at once and follows the LBS servers from then on.
//
// A fetch runs as: UpdateLBS (any thread) posts; RequestUpdate (own thread) sends; JudgeResponse
// tells good answers from bad ones and FinishUpdate applies the outcome (both on the thread that
// carries the request); CallClient (own thread) tells the client. There is no periodic refresh.
//
// Threads: any for the client's slots. Lock order: `finish_mutex_`, `hosts_mutex_`, then the
//          configuration's mutex. Nothing on the way from a change of the token takes the first
//          two.
// Owner:   a shared_ptr of the environment's object. Closures that run on foreign threads hold the
//          service for their run; those for its own thread never do, since the last owner may not
//          be dropped there.
// Errors:  none reach the client; see the log. A failed fetch keeps the old document. Start passes
//          on the exception of a thread that can't be made, and can be tried again then.
class ZOSturdyLBSServiceImpl : public IZOSturdyLBSService,
                               public IBusinessService,
                               public zo_base::BaseThread {
 public:
  ZOSturdyLBSServiceImpl();
  ~ZOSturdyLBSServiceImpl() override;
  ZOSturdyLBSServiceImpl(const ZOSturdyLBSServiceImpl&) = delete;
  ZOSturdyLBSServiceImpl& operator=(const ZOSturdyLBSServiceImpl&) = delete;

  // IZOSturdyLBSService
  bool Start(const _ZOSturdyLBSSettings& settings) override;
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

  // BaseThread: ends the taking of updates as well, and whoever waits for one. A document that is
  // being applied is waited for and none is applied from then on, so that a next service has the
  // cache file to itself.
  void RequestStop() override;

  // Starts a fetch; with `force` also beside a running one. Ignored while the service's thread
  // can't take posts: before it has begun (its beginning fetches) and once it is to stop.
  void UpdateLBS(net::AddressFamily family, bool force);

  // Makes a document the active one. False, with the old one kept, if it has no "common".
  bool ParseLBSResponse(const std::string& rsp, const std::string& family_text);

  void ApplyLBSSettings(const _ZOSturdyLBSSettings& record);
  void ParseMsgStatInfo(const std::string& text);

  bool IsUpdatingForTest() const { return updatting_lbs_; }

 private:
  using BaseThread::Start;  // the thread's own, without settings

  // Whether the own thread takes posts.
  enum class Posts { kNotYet, kTaken, kNoMore };

  // start
  void StartOnce(const _ZOSturdyLBSSettings& record, const std::shared_ptr<_EnvironmentConfig>& c);
  void ChooseActiveData();
  bool ParseActiveData();
  void ForgetStart();
  void OnThreadBegin();
  void OnTokenChanged();
  void OnNetworkChanged(net::AddressFamily family);
  std::string CurrentToken();

  // one fetch
  void RequestUpdate(net::AddressFamily family, const std::string& request_token);
  bool JudgeResponse(const std::string& request_token, int32_t index, int32_t code,
                     const std::string& body, bool& need_statistic);
  void FinishUpdate(net::AddressFamily family, const std::string& request_token, bool success,
                    const std::string& body) ZO_EXCLUDES(finish_mutex_);
  void CallClient(bool success);

  // one document: steps of ParseLBSResponse
  std::string ApplyHosts(const LBSDocument& document);
  void SaveDocument(const LBSDocument& document, const std::string& rsp,
                    const std::string& family_text, const std::string& default_link);

  // Copies a value of the store, and nothing if it is too long for a buffer of that size.
  void CopyValue(const char* key, char* out, size_t buffer_size);

  std::atomic<bool> updatting_lbs_{false};
  std::atomic<bool> started_{false};
  LBSSettings settings_;
  LBSResponse response_;
  std::map<int32_t, std::shared_ptr<HostChooser>> host_choosers_ ZO_GUARDED_BY(hosts_mutex_);
  std::atomic<void (*)(int code, const char* lbs_response)> update_callback_{nullptr};
  zo_base::RecursiveMutex hosts_mutex_;
  CountTimerInvoker update_invoker_;
  zo_base::Snapshot<MsgStatInfo> msg_stat_info_;
  std::atomic<int32_t> link_host_count_{0};
  // There is active data: the slots answer. Set before `started_`, for a client that asks in its
  // first callback.
  std::atomic<bool> serving_{false};
  std::atomic<Posts> posts_{Posts::kNotYet};
  // Held while the outcome of a fetch is applied.
  zo_base::Mutex finish_mutex_;
  zo_base::OnceFlag start_once_;
  std::vector<zo_sigslot::connection> connections_;
};

}  // namespace zo_sturdy
