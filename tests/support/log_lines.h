#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tools/log_reader/log_message.h"

using log_reader::LogMessage;
using Messages = std::vector<std::string>;

// Asks and awaits the log of a process that runs, is another one, or has died.
// Errors: what isn't there reads as nothing.
class LogLines {
 public:
  static constexpr std::chrono::milliseconds kLimit{10000};

  // The log's path, or a data folder under which there is one "sturdy_comp.log" (or will be).
  explicit LogLines(std::string log_path_or_folder);

  [[nodiscard]] std::string Text() const;
  [[nodiscard]] std::vector<LogMessage> All() const;
  // The texts of all messages, of those that contain `part`, and of those that begin with a tag.
  [[nodiscard]] Messages Texts() const;
  [[nodiscard]] Messages With(std::string_view part) const;
  [[nodiscard]] Messages Tagged(std::initializer_list<std::string_view> tags) const;

  // From now on only messages that come after those of this moment count.
  void StartHere();

  // Waits until a message contains `part` (`count` of them do), or until `done` holds for the
  // texts; the failure prints what came instead.
  [[nodiscard]] testing::AssertionResult WaitFor(std::string_view part,
                                                 std::chrono::milliseconds limit = kLimit) const;
  [[nodiscard]] testing::AssertionResult WaitForCount(
      std::string_view part, size_t count, std::chrono::milliseconds limit = kLimit) const;
  [[nodiscard]] testing::AssertionResult WaitUntil(const std::function<bool(const Messages&)>& done,
                                                   std::chrono::milliseconds limit = kLimit) const;

 private:
  const std::string path_;
  size_t skipped_ = 0;  // messages before StartHere
};
