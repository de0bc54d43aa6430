#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

// One message of the log, taken apart.
struct LogMessage {
  uint32_t process_id = 0;
  uint32_t thread_id = 0;
  std::string level;     // "LV_APP"; empty for a marker
  std::string location;  // "file.cpp:12" of a severe level
  // Without the prefix and the line end; a message of several lines keeps the ends between them. A
  // marker is the middle of its line: "load from mmap file begin".
  std::string text;

  [[nodiscard]] bool IsMarker() const { return level.empty(); }
};

using Messages = std::vector<std::string>;

// Reads a log as its readers do: the log file, then what the buffer file holds behind it. It works
// on the log of a running process, and of one that has died.
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
  [[nodiscard]] std::string LogPath() const;

  const std::string path_;
  size_t skipped_ = 0;  // messages before StartHere
};
