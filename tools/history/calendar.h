#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace history {

// Turns the times of a log, which have no year, into ms that grow with the log.
// Threads: one.
class Calendar {
 public:
  // Takes the log's times in order, such as "03-14 15:09:26.535". Returns the last result for a
  // text that is no time.
  int64_t ToMs(std::string_view text);

 private:
  int64_t year_begin_ms_ = 0;
  int64_t last_ms_ = 0;
};

}  // namespace history
