#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "base/object/object.h"
#include "base/thread/task_loop.h"
#include "base/thread/timer.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"

namespace zo_sturdy {

// Carries one request through its URLs: fail-over in order, with overlap.
//
// URL 0 goes out first. The next one goes out when the current one has failed, or when it has been
// silent for `multiple_time_out`. A silent URL isn't given up: its answer, however late, is judged
// like any other and may win. `timers` has an entry for each URL that is in flight, so its size is
// their number, and the one entry that is armed is the URL being waited for:
//
//   Unsent       no entry
//   Sent         entry, armed
//   Overtime     entry, cancelled when it fired; the answer may still come
//   Returned     entry erased
//
// A failure moves on to the next URL only if no armed entry is left. This keeps the late failure
// of an old URL from skipping one that has only just been sent. The request ends with the first
// answer that passes the check, or with the last one that doesn't.
//
// Threads: no lock; all work is done on the thread that made it. Once the loop of that thread has
//          ended, answers come on threads of the HTTP client, one at a time, and no further URL is
//          sent: the request ends when none is in flight.
// Owner:   itself, until the slot of SIG_ALL_SUB_REQUEST_RETURN adopts it. One whose signal never
//          comes, or finds nobody to adopt it, stays reachable until the library is unloaded.
// Errors:  the outcome is the signal, emitted once. An empty check raises std::bad_function_call
//          where the answer is handled.
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

  // Sends the URL at `index` and arms its timer. A request without URLs is told its failure here,
  // without the signal: the caller still owns the helper then.
  void InvokeRequest();

  // False once the loop that the request began on has ended.
  bool MaySend() const;

  // The failures that the check wanted recorded, for success and failure alike.
  const std::list<StatisticRecord>& GetFailList() const { return fail_list; }

  // How many are alive in the process, those that nobody will end included.
  static size_t LiveCountForTest();

 private:
  bool AllRequested() const;
  void HandleTimeOut(int32_t i);
  bool HandleResponse(int32_t i, int64_t sent_ms, int32_t code, const std::string& headers,
                      const std::string& body);
  void RecordFailure(const std::string& url, int32_t code, int64_t sent_ms);
  void RemoveTimer(int32_t i);
  void SwitchUnlessWaiting(int32_t i);
  // Both may end the helper's life.
  void Succeed(const std::string& headers, const std::string& body);
  void EndIfLast(bool all_requested, const std::string& headers, const std::string& body);

  const std::weak_ptr<zo_base::ITaskLoop> home_loop;
  const bool has_home;

  // The ends of a loop and of its last task aren't ordered before the answer that finds the loop
  // gone. Every piece of work ends by a release of this count and begins by an acquire.
  std::atomic<uint32_t> turns{0};

  // Of the one thread that works. The destructor takes them down from the last to the first.
  MultipleURLHttpRequest request;
  std::map<int32_t, std::shared_ptr<zo_base::Timer>> timers;
  int32_t index = 0;  // the URL sent last
  std::list<StatisticRecord> fail_list;
};

}  // namespace zo_sturdy
