#include "tools/history/line.h"

#include <map>
#include <utility>

#include "base/log/log_format.h"
#include "tools/history/calendar.h"

namespace history {

namespace {

using log_reader::LogMessage;

constexpr std::string_view kDashes = "\n-----------------------";
constexpr std::string_view kStartOfBanner = "------ start ------";
constexpr std::string_view kStartLine = "[environment] Start version";
constexpr std::string_view kEndOfOldText = "load from mmap file end";

bool IsBanner(std::string_view text) {
  return text.starts_with("\r\n---") && text.find(kStartOfBanner) != std::string_view::npos;
}

// Divides the messages of each process into runs.
class RunFinder {
 public:
  explicit RunFinder(History& history) : history_(history), next_(history.messages.size()) {
    std::map<uint32_t, size_t> later;  // the first message of each process, from the end on
    for (size_t i = next_.size(); i-- > 0;) {
      const auto [it, is_last] = later.try_emplace(history.messages[i].process_id, i);
      next_[i] = is_last ? next_.size() : std::exchange(it->second, i);
    }
  }

  // Takes the end of the text that a start has taken over: the next banner is that of a start.
  void TakeOldTextEnd() { is_start_next_ = true; }

  // Returns the run of a message.
  size_t Take(const LogMessage& message, size_t place, int64_t at_ms) {
    auto open = open_.find(message.process_id);
    const bool is_banner = IsBanner(message.text);
    const bool is_exit = is_banner && open != open_.end() && !is_start_next_ && IsExit(place);
    is_start_next_ = is_start_next_ && !is_banner;
    if (is_banner && !is_exit) {
      open = Open(message.process_id, at_ms);
    } else if (open == open_.end()) {
      open = Open(message.process_id, std::nullopt);
    }
    const size_t run = open->second;
    history_.runs[run].last_ms = at_ms;
    if (is_exit) {
      history_.runs[run].exit_ms = at_ms;
      open_.erase(open);
    }
    return run;
  }

 private:
  std::map<uint32_t, size_t>::iterator Open(uint32_t process_id, std::optional<int64_t> begin_ms) {
    Run run;
    run.process_id = process_id;
    run.begin_ms = begin_ms;
    history_.runs.push_back(run);
    return open_.insert_or_assign(process_id, history_.runs.size() - 1).first;
  }

  // A start's banner is followed by its settings. An older log lacks them: there the banner within
  // a run is that of an exit.
  bool IsExit(size_t place) const {
    const size_t next = next_[place];
    return next == next_.size() || !history_.messages[next].text.starts_with(kStartLine);
  }

  History& history_;
  bool is_start_next_ = false;
  std::vector<size_t> next_;         // of each message: the next one of its process
  std::map<uint32_t, size_t> open_;  // the open run of each process
};

}  // namespace

std::vector<Line> FindLines(History& history) {
  std::vector<Line> lines;
  std::map<ThreadKey, size_t> last_of_thread;
  Calendar calendar;
  RunFinder runs(history);
  for (size_t i = 0; i < history.messages.size(); ++i) {
    const LogMessage& message = history.messages[i];
    if (message.IsMarker() && message.text == kEndOfOldText) {
      runs.TakeOldTextEnd();
    }
    if (message.time.empty() || message.level == "LV_PRO") {
      continue;
    }
    Line line;
    line.message = i;
    line.at_ms = calendar.ToMs(message.time);
    line.run = runs.Take(message, i, line.at_ms);
    line.thread_id = message.thread_id;
    line.text = message.text;
    const auto [last, is_first] = last_of_thread.try_emplace(ThreadOf(line), lines.size());
    if (!is_first) {
      line.previous = last->second;
      lines[last->second].next = lines.size();
      last->second = lines.size();
    }
    lines.push_back(line);
  }
  return lines;
}

std::string_view FramedText(std::string_view text) {
  const size_t begin = text.find(kDashes);
  const size_t end = text.rfind(kDashes);
  const size_t line_end = text.find('\n', begin == std::string_view::npos ? begin : begin + 1);
  if (line_end == std::string_view::npos || end <= begin) {
    return {};
  }
  std::string_view framed = text.substr(line_end + 1);
  framed = framed.substr(0, end > line_end ? end - line_end - 1 : 0);
  if (framed.ends_with('\r')) {
    framed.remove_suffix(1);
  }
  return framed;
}

}  // namespace history
