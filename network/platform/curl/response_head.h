#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "network/transfer_cause.h"

namespace KRBASE::network::platform {

// Collects the final head of an answer. Drops 1xx heads before it and trailers after the body.
// Threads: one at a time.
// Owner:   the transfer that receives the answer.
// Errors:  AddLine returns the cause with which the transfer must then fail.
class ResponseHead {
 public:
  // Adds one line as it was received, line end included. `status` is the status of the head that
  // the line belongs to.
  [[nodiscard]] std::optional<TransferCause> AddLine(std::string_view line, int32_t status);

  // True once a line has been added.
  [[nodiscard]] bool has_begun() const { return received_bytes_ > 0; }
  // True once the empty line of the final head has been added.
  [[nodiscard]] bool is_complete() const { return is_complete_; }
  // Lines ended by CRLF, the last one empty.
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
  size_t received_bytes_ = 0;  // of all heads, dropped lines included
  bool starts_next_ = true;    // the next line is a status line
  bool is_complete_ = false;
};

}  // namespace KRBASE::network::platform
