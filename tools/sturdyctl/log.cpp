#include <cstdio>
#include <ctime>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tools/log_reader/log_reader.h"
#include "tools/platform/interrupt.h"
#include "tools/redactor/redact_messages.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

using log_reader::LogMessage;

constexpr std::time_t kDaySeconds = 86400;
// Times of the log have no year, so a line that is older than this looks like one of the future.
constexpr std::time_t kMaxAge = 363 * kDaySeconds;

// Writes a time as the log does, "03-14 15:09:26.000".
std::string LogTime(std::time_t time) {
  return LocalTime(time, "%m-%d %H:%M:%S.000");
}

// Returns the user's time as the log writes it, or "" if every line is younger. A time without a
// date means today.
std::string ParseTime(const std::string& option, const std::string& text, std::time_t now) {
  std::smatch part;
  if (std::regex_match(text, part, std::regex("(\\d{1,6})([smhd])"))) {
    const char unit = part[2].str()[0];
    const std::time_t seconds = unit == 's'   ? 1
                                : unit == 'm' ? 60
                                : unit == 'h' ? 3600
                                              : kDaySeconds;
    const std::time_t age = std::stol(part[1]) * seconds;
    return age < kMaxAge ? LogTime(now - age) : "";
  }
  const std::regex time(
      "(?:((?:0[1-9]|1[0-2])-(?:0[1-9]|[12]\\d|3[01]))[ T])?"
      "((?:[01]\\d|2[0-3]):[0-5]\\d)(?::([0-5]\\d)(?:\\.(\\d{1,3}))?)?");
  if (std::regex_match(text, part, time)) {
    const std::string date = part[1].matched ? part[1].str() : LogTime(now).substr(0, 5);
    const std::string seconds = part[3].matched ? part[3].str() : "00";
    return date + " " + part[2].str() + ":" + seconds + "." + (part[4].str() + "000").substr(0, 3);
  }
  throw UsageError(
      option +
      " takes a time such as 14:05, 14:05:30.250 or \"03-14 14:05\", or an age such as "
      "90s, 15m, 2h or 1d, but not \"" +
      text + "\".");
}

// Selects the messages that the user wants to see.
// Threads: one. Messages come in the order of the log.
class Filter {
 public:
  Filter(const LogOptions& options, std::time_t now)
      : tags_(options.tags), tomorrow_(LogTime(now + kDaySeconds)) {
    for (std::string& tag : tags_) {
      if (tag.size() > 2 && tag.front() == '[' && tag.back() == ']') {
        tag = tag.substr(1, tag.size() - 2);
      }
    }
    const std::string since = options.since.empty() ? "" : ParseTime("--since", options.since, now);
    since_ = since.empty() ? "" : WithYear(since);
    if (!options.until.empty()) {
      const std::string until = ParseTime("--until", options.until, now);
      until_ = until.empty() ? kBeforeAll : WithYear(until);
    }
    if (!since_.empty() && !until_.empty() && since_ >= until_) {
      throw UsageError("--since must be before --until.");
    }
  }

  // Returns whether the user wants to see the message. The first one that is recent enough begins
  // the range and the first one after it ends it, even if the clock is set back later.
  bool Shows(const LogMessage& message) {
    is_over_ =
        is_over_ || (!until_.empty() && !message.time.empty() && WithYear(message.time) >= until_);
    if (is_over_) {
      return false;
    }
    if (!since_.empty()) {
      if (message.time.empty() || WithYear(message.time) < since_) {
        return false;
      }
      since_.clear();
    }
    bool tagged = tags_.empty();
    for (const std::string& tag : tags_) {
      tagged = tagged || message.HasTag(tag);
    }
    return tagged;
  }

  // Returns whether no later message can be shown.
  [[nodiscard]] bool is_over() const { return is_over_; }

  // Tells the user of tags that no message has, and which ones there are.
  // Errors: std::runtime_error if no wanted tag is there, unless the log may grow.
  void CheckTags(const std::vector<LogMessage>& messages, bool may_grow) const {
    std::set<std::string_view> there;
    for (const LogMessage& message : messages) {
      const std::vector<std::string_view> tags = message.Tags();
      there.insert(tags.begin(), tags.end());
    }
    size_t missing = 0;
    std::string text = "no message has the tag";
    for (const std::string& tag : tags_) {
      if (there.find(tag) == there.end()) {
        text += (missing++ > 0 ? ", " : " ") + tag;
      }
    }
    if (missing == 0) {
      return;
    }
    text += "; the tags are:";
    for (const std::string_view tag : there) {
      text.append(tag == *there.begin() ? " " : ", ").append(tag);
    }
    if (missing == tags_.size() && !may_grow) {
      throw std::runtime_error(text + ".");
    }
    std::fprintf(stderr, "sturdyctl: %s.\n", text.c_str());
  }

 private:
  // Sorts before each time with its year.
  static constexpr char kBeforeAll[] = "0";

  // Lines have no year. One that seems to be of the future is of last year.
  std::string WithYear(const std::string& time) const {
    return (time > tomorrow_ ? "0 " : "1 ") + time;
  }

  std::vector<std::string> tags_;
  const std::string tomorrow_;
  std::string since_;  // empty once it has been reached
  std::string until_;
  bool is_over_ = false;
};

// Returns the messages since the last call, without their secrets if there is a redactor.
std::vector<LogMessage> Read(log_reader::LogReader& log,
                             std::optional<redactor::Redactor>& redactor) {
  std::vector<LogMessage> messages = log.ReadNewMessages();
  if (redactor) {
    redactor::RedactMessages(*redactor, messages);
  }
  return messages;
}

void Print(const std::vector<LogMessage>& messages, Filter& filter) {
  for (const LogMessage& message : messages) {
    if (filter.Shows(message)) {
      std::fwrite(message.bytes.data(), 1, message.bytes.size(), stdout);
    }
  }
  std::fflush(stdout);
}

}  // namespace

int RunLog(const LogOptions& options) {
  Filter filter(options, std::time(nullptr));
  log_reader::LogReader log(FindLog(options.folder));
  std::optional<platform::Interrupt> interrupt;
  if (options.follow) {
    interrupt.emplace();
  }
  std::optional<redactor::Redactor> redactor;
  if (options.redact) {
    redactor.emplace();
  }
  const std::vector<LogMessage> messages = Read(log, redactor);
  filter.CheckTags(messages, options.follow);
  Print(messages, filter);
  while (options.follow && std::ferror(stdout) == 0 && !filter.is_over() &&
         !interrupt->WaitFor(platform::kPollInterval)) {
    Print(Read(log, redactor), filter);
  }
  return kExitOk;
}

}  // namespace sturdyctl
