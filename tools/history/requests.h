#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/history/asks.h"
#include "tools/history/host_lines.h"
#include "tools/history/line.h"
#include "tools/history/step_lines.h"
#include "tools/history/transfers.h"

namespace history {

// Reads the requests over several URLs into `history.fetches`. A line names the index of a URL but
// not its request, so each step is given to the one open request that fits all that its lines say.
// Where several fit, the tries are marked as unsure.
class Requests {
 public:
  Requests(History& history, const std::vector<Line>& lines, Asks& asks, HostLines& hosts)
      : history_(history), lines_(lines), asks_(asks), hosts_(hosts) {}

  // Takes the lines in order.
  void Take(size_t place);
  // Takes the end of the log. Gives tries whose failure nobody judged their causes.
  void TakeEnd();

  // Returns the fetch whose answer the thread has judged last.
  [[nodiscard]] std::optional<size_t> JudgedBy(const ThreadKey& thread) const;

 private:
  struct Url {
    std::string host;
    std::string url;
    size_t number = 0;  // for `transfers_`
  };
  // One pass of a fetch.
  struct Request {
    size_t fetch = 0;
    int pass = 1;
    ThreadKey thread;
    std::vector<Url> urls;
    bool may_use_http_dns = false;
    int index = -1;                   // the URL sent last
    std::map<int, size_t> in_flight;  // URLs whose answer may come, and their tries
    std::map<int, size_t> armed;      // those of them whose silence may end
  };
  struct OfThread {
    std::optional<size_t> judged;  // the fetch of the last answer
    bool begins_second_pass = false;
    size_t asked_hosts = 0;  // the number of fetches when it asked HTTP DNS
  };

  void TakeRequest(const Line& line);
  size_t AddFetch(const Line& line, const std::string& url);
  void AddTry(const Line& line, StartedBecause because, std::optional<size_t> started_by,
              Request& request);
  void TakeStep(const Line& line, const StepLines& step);
  void TakeSilence(const Line& line, const StepLines& step, Request& request);
  void TakeAnswer(const Line& line, const StepLines& step, Request& request);
  void Judge(const Line& line, const StepLines& step, Fetch& fetch, size_t place);
  void EndFetch(const Line& line, FetchOutcome outcome, size_t fetch);
  void EndTries(const Request& request);
  [[nodiscard]] std::optional<size_t> HostsFetch(size_t run, size_t first) const;
  static void TakeRefusal(Fetch& fetch);
  void TakeAfterAnswer(const Line& line, OfThread& thread);

  [[nodiscard]] std::vector<size_t> Fitting(const Line& line, const StepLines& step) const;
  [[nodiscard]] bool Fits(const Request& request, const StepLines& step) const;
  [[nodiscard]] static bool FitsTimers(const Request& request, const StepLines& step);
  [[nodiscard]] bool FitsNewest(const Request& request, const StepLines& step) const;
  [[nodiscard]] bool FitsFailure(const Request& request, const StepLines& step) const;

  History& history_;
  const std::vector<Line>& lines_;
  Asks& asks_;
  HostLines& hosts_;
  Transfers transfers_;
  std::map<size_t, std::map<size_t, Request>> open_;  // by run and number, oldest first
  size_t last_number_ = 0;
  std::map<ThreadKey, OfThread> threads_;
};

}  // namespace history
