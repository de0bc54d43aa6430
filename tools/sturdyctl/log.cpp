#include <cstdio>
#include <ctime>
#include <regex>

#include "tools/log_reader/log_reader.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/interrupt.h"
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
std::string ParseTime(const std::string& text, std::time_t now) {
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
      "--since takes a time such as 14:05, 14:05:30.250 or \"03-14 14:05\", or an age such as "
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
    const std::string since = options.since.empty() ? "" : ParseTime(options.since, now);
    since_ = since.empty() ? "" : WithYear(since);
  }

  // Returns whether the user wants to see the message. Once one is recent enough, all later ones
  // are, even if the clock was set back.
  bool Shows(const LogMessage& message) {
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

 private:
  // Lines have no year. One that seems to be of the future is of last year.
  std::string WithYear(const std::string& time) const {
    return (time > tomorrow_ ? "0 " : "1 ") + time;
  }

  std::vector<std::string> tags_;
  const std::string tomorrow_;
  std::string since_;  // empty once it has been reached
};

void Print(log_reader::LogReader& log, Filter& filter) {
  for (const LogMessage& message : log.ReadNewMessages()) {
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
  if (!options.follow) {
    Print(log, filter);
    return kExitOk;
  }
  Interrupt interrupt;
  do {
    Print(log, filter);
  } while (std::ferror(stdout) == 0 && !interrupt.WaitFor(kPollInterval));
  return kExitOk;
}

}  // namespace sturdyctl
