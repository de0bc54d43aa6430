#include "tests/support/log_lines.h"

#include <algorithm>

#include "tools/log_reader/find_logs.h"
#include "tools/log_reader/log_reader.h"

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
  Messages texts;
  for (LogMessage& message : All()) {
    texts.push_back(std::move(message.text));
  }
  return texts;
}

Messages LogLines::With(std::string_view part) const {
  Messages texts = Texts();
  std::erase_if(texts, [&](const std::string& text) { return text.find(part) == text.npos; });
  return texts;
}

Messages LogLines::Tagged(std::initializer_list<std::string_view> tags) const {
  Messages texts = Texts();
  std::erase_if(texts, [&](const std::string& text) {
    return std::ranges::none_of(tags, [&](std::string_view tag) { return text.starts_with(tag); });
  });
  return texts;
}

void LogLines::StartHere() {
  skipped_ += All().size();
}

testing::AssertionResult LogLines::WaitFor(std::string_view part) const {
  return WaitForCount(part, 1);
}

testing::AssertionResult LogLines::WaitForCount(std::string_view part, size_t count) const {
  if (WaitUntil([&] { return With(part).size() >= count; })) {
    return testing::AssertionSuccess();
  }
  constexpr size_t kMostPrinted = 200;
  const Messages came = Texts();
  auto result = testing::AssertionFailure()
                << "fewer than " << count << " messages with \"" << part << "\"; the log has:";
  for (size_t i = came.size() - std::min(came.size(), kMostPrinted); i < came.size(); ++i) {
    result << "\n  " << came[i];
  }
  return result;
}
