#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "base/object/object.h"
#include "base/thread/task_loop.h"
#include "base/thread/timer.h"
#include "src/sturdy/config/multiple_url_request.h"

namespace zo_sturdy {

// Carries one request through its URLs: fail-over in order, with overlap.
//
// Sends URL 0 first, and the next one when the current one has failed or has been silent for
// `multiple_time_out`. A silent URL isn't given up: its answer, however late, is judged like any
// other and may win. `timers` has one entry for each URL in flight; the armed one is the URL that
// is waited for:
//
//   Unsent       no entry
//   Sent         entry, armed
//   Overtime     entry, cancelled when it fired; the answer may still come
//   Returned     entry erased
//
// A failure moves on to the next URL only if no armed entry is left. So the late failure of an old
// URL doesn't skip one that has just been sent. The first answer that passes the check ends the
// request, or else the last answer.
//
// Threads: all work, the signal included, runs on the thread that made it, with no lock. Once that
//          thread's loop has ended, answers come on threads of the HTTP client, one at a time, and
//          no further URL is sent: the request ends when none is in flight.
//          If that thread never had a loop, such as a client's, answers come on the HTTP client's
//          threads from the start. Those threads send the further URLs and emit the signal, no
//          timer is armed, and InvokeRequest holds HttpTool::DeliveryMutex.
// Owner:   itself, until the slot of SIG_ALL_SUB_REQUEST_RETURN adopts it. If the signal never
//          comes or no slot adopts it, the exit frees it through LiveRequests.
// Errors:  the signal reports the outcome, once. A step that runs out of memory destroys the helper
//          and so the request's callbacks, without a call. An empty check throws
//          std::bad_function_call where the answer is handled.
class MultipleURLHttpRequestHelper : public zo_base::ZOObjectIMPL {
 public:
  // Ends the request, with the outcome, the headers and body of the answer that decided it, and the
  // request. The slot usually destroys the helper.
  static inline zo_base::Signal<bool, const std::string&, const std::string&,
                                const MultipleURLHttpRequest&>
      SIG_ALL_SUB_REQUEST_RETURN;

  explicit MultipleURLHttpRequestHelper(const MultipleURLHttpRequest& asked);
  ~MultipleURLHttpRequestHelper() override;
  MultipleURLHttpRequestHelper(const MultipleURLHttpRequestHelper&) = delete;
  MultipleURLHttpRequestHelper& operator=(const MultipleURLHttpRequestHelper&) = delete;

  // Sends the URL at `index` and arms its timer. Without URLs, calls the request's callback with a
  // failure instead; the caller still owns the helper then. May destroy the helper: without a loop,
  // a send that fails is answered at once, and without memory the request ends.
  void InvokeRequest();

  // True on the thread of the home loop, and on any thread if the request began without a loop.
  // False elsewhere, and once the home loop has ended.
  bool MaySend() const;

  // Returns the failures that the check asked to record, whatever the outcome.
  const std::list<StatisticRecord>& GetFailList() const { return fail_list; }

 private:
  // Runs a step. Ends the request if there is no memory for it.
  template <class Step>
  void RunStep(const Step& step);

  bool AllRequested() const;
  void HandleTimeOut(int32_t i);
  void RecordFailure(const std::string& url, int32_t code, int64_t sent_ms,
                     const std::list<std::string>& host_addresses);
  void RemoveTimer(int32_t i);

  // Each of these may destroy the helper.
  void SendCurrent();
  void HandleResponse(int32_t i, int64_t sent_ms, int32_t code, const std::string& headers,
                      const std::string& body, const std::list<std::string>& host_addresses);
  void SwitchUnlessWaiting(int32_t i);
  void Succeed(const std::string& headers, const std::string& body);
  void EndIfLast(bool all_requested, const std::string& headers, const std::string& body);

  const std::weak_ptr<zo_base::ITaskLoop> home_loop;
  const bool has_home;

  // Orders our steps across threads: an answer that finds the loop gone isn't otherwise ordered
  // after the loop's last task. HandleResponse acquires it; each step that leaves the request open
  // releases it.
  std::atomic<uint32_t> turns{0};

  // Used by the one thread that works.
  MultipleURLHttpRequest request;
  std::map<int32_t, std::shared_ptr<zo_base::Timer>> timers;
  int32_t index = 0;  // the URL sent last, or to be sent next
  std::list<StatisticRecord> fail_list;
};

}  // namespace zo_sturdy
