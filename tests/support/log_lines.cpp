#include "tests/support/log_lines.h"

#include <algorithm>

#include "tools/log_reader/find_logs.h"
#include "tools/log_reader/log_reader.h"

namespace {

using std::chrono::milliseconds;

constexpr size_t kMostPrinted = 200;

testing::AssertionResult Failure(const std::string& wanted, const Messages& came) {
  auto result = testing::AssertionFailure() << wanted << "; the log has:";
  const size_t first = came.size() > kMostPrinted ? came.size() - kMostPrinted : 0;
  for (size_t i = first; i < came.size(); ++i) {
    result << "\n  " << came[i];
  }
  return result;
}

size_t CountWith(const Messages& messages, std::string_view part) {
  return static_cast<size_t>(
      std::count_if(messages.begin(), messages.end(),
                    [&](const std::string& text) { return text.find(part) != text.npos; }));
}

}  // namespace

LogLines::LogLines(std::string log_path_or_folder) : path_(std::move(log_path_or_folder)) {}

std::string LogLines::Text() const {
  const auto logs = log_reader::FindLogs(path_);
  return log_reader::LogReader(logs.empty() ? path_ : logs.front()).ReadNewText();
}

std::vector<LogMessage> LogLines::All() const {
  std::vector<LogMessage> messages = log_reader::ParseMessages(Text());
  messages.erase(messages.begin(),
                 messages.begin() + static_cast<ptrdiff_t>(std::min(skipped_, messages.size())));
  return messages;
}

Messages LogLines::Texts() const {
  return With("");
}

Messages LogLines::With(std::string_view part) const {
  Messages texts;
  for (const LogMessage& message : All()) {
    if (message.text.find(part) != std::string::npos) {
      texts.push_back(message.text);
    }
  }
  return texts;
}

Messages LogLines::Tagged(std::initializer_list<std::string_view> tags) const {
  Messages texts;
  for (const LogMessage& message : All()) {
    if (std::any_of(tags.begin(), tags.end(),
                    [&](std::string_view tag) { return message.text.starts_with(tag); })) {
      texts.push_back(message.text);
    }
  }
  return texts;
}

void LogLines::StartHere() {
  skipped_ += All().size();
}

testing::AssertionResult LogLines::WaitFor(std::string_view part, milliseconds limit) const {
  return WaitForCount(part, 1, limit);
}

testing::AssertionResult LogLines::WaitForCount(std::string_view part, size_t count,
                                                milliseconds limit) const {
  const auto result =
      WaitUntil([&](const Messages& texts) { return CountWith(texts, part) >= count; }, limit);
  return result ? result
                : Failure("no " + std::to_string(count) + " messages with \"" + std::string(part) +
                              "\"",
                          Texts());
}

testing::AssertionResult LogLines::WaitUntil(const std::function<bool(const Messages&)>& done,
                                             milliseconds limit) const {
  const auto result = ::WaitUntil([&] { return done(Texts()); }, limit);
  return result ? result : Failure("the log doesn't get there", Texts());
}
