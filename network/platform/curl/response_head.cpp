#include "network/platform/curl/response_head.h"

#include <utility>

#include "network/platform/header_lines.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

constexpr int32_t kFirstStatus = 100;
constexpr int32_t kLastInterimStatus = 199;

}  // namespace

std::optional<TransferCause> ResponseHead::AddLine(std::string_view line, int32_t status) {
  received_bytes_ += line.size();
  if (received_bytes_ > kMaxHeadBytes) {
    return TransferCause::kTooLarge;
  }
  if (is_complete_) {
    return std::nullopt;  // a trailer
  }
  // libcurl reads a status of 200 from a line that begins with "HTTP/" in other letters.
  if (std::exchange(starts_next_, false)) {
    if (line.rfind("HTTP/", 0) != 0) {
      return TransferCause::kMalformed;
    }
    text_.clear();
  }
  while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
    line.remove_suffix(1);
  }
  text_.append(line).append("\r\n");
  // The empty line ends a head. A 1xx head has another one after it.
  if (line.empty()) {
    if (status < kFirstStatus) {
      return TransferCause::kMalformed;  // includes 0, our status of a failed transfer
    }
    is_complete_ = status > kLastInterimStatus;
    starts_next_ = true;
  }
  if (HasUnrequestedCoding(line)) {  // libcurl would undo it, and a few KiB exceed our bounds
    return TransferCause::kMalformed;
  }
  return std::nullopt;
}

}  // namespace KRBASE::network::platform
