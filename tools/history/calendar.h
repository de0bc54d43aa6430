#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace history {

// Turns the times of a log, which have no year, into ms that grow with the log.
// Threads: one.
class Calendar {
 public:
  // Takes the times of the log's messages in order, such as "03-14 15:09:26.535".
  // Requires: the digits have this form, as those of a LogMessage have.
  int64_t ToMs(std::string_view text);

 private:
  int64_t year_begin_ms_ = 0;
  int64_t last_ms_ = 0;
};

}  // namespace history
