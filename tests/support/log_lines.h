#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/wait_until.h"
#include "tools/log_reader/log_message.h"

using log_reader::LogMessage;
using Messages = std::vector<std::string>;

// Reads the log of a process from its files, and waits for lines. The process may be this one,
// another one, or dead.
// Threads: one at a time.
// Errors:  a log that isn't there reads as empty. A wait fails at its limit.
class LogLines {
 public:
  // Takes the log's path, or a data folder below which there is, or will be, one "sturdy_comp.log".
  explicit LogLines(std::string log_path_or_folder);

  // Returns the whole log, whatever StartHere skips.
  [[nodiscard]] std::string Text() const;
  // Return what StartHere doesn't skip: the messages; the texts of all, of those that contain
  // `part`, and of those that begin with one of the tags ("[lbs]", with its brackets).
  [[nodiscard]] std::vector<LogMessage> All() const;
  [[nodiscard]] Messages Texts() const;
  [[nodiscard]] Messages With(std::string_view part) const;
  [[nodiscard]] Messages Tagged(std::initializer_list<std::string_view> tags) const;

  // From now on, skips all messages that the log has now. Counts them, so a log that is shortened
  // later loses as many new ones.
  void StartHere();

  // Wait until a message contains `part`, or `count` messages do, up to kPatience. A failure prints
  // the log.
  [[nodiscard]] testing::AssertionResult WaitFor(std::string_view part) const;
  [[nodiscard]] testing::AssertionResult WaitForCount(std::string_view part, size_t count) const;

 private:
  const std::string path_;
  size_t skipped_ = 0;  // messages before StartHere
};
