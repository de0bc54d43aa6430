#include "network/transfer_failure.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <string_view>

#include "base/log/log.h"
#include "network/platform/http_url.h"

namespace KRBASE::network {

namespace {

// More than the parts of a usable URL have.
constexpr size_t kMaxShownBytes = 2048;

// Returns the part of a text before its query and fragment, without user information. The text may
// be no URL: all before an "@" then counts as such.
std::string WithoutSecrets(std::string_view text) {
  text = text.substr(0, std::min(text.find_first_of("?#"), kMaxShownBytes));
  const size_t scheme_end = text.find("://");
  const size_t user_begin = scheme_end == std::string_view::npos ? 0 : scheme_end + 3;
  const size_t host_begin = text.rfind('@') + 1;  // 0 without one
  std::string shown(text.substr(0, user_begin));
  return shown.append(text.substr(std::max(user_begin, host_begin)));
}

std::string ShownStep(int64_t time_ms) {
  return time_ms == TransferSteps::kNotFinished ? "-" : std::to_string(time_ms) + " ms";
}

}  // namespace

std::string ShownUrl(const std::string& url) {
  const std::optional<platform::HttpUrl> usable = platform::CrackUrl(url, SIZE_MAX, SIZE_MAX);
  if (!usable.has_value()) {
    return platform::Escaped(WithoutSecrets(url));
  }
  const std::string path = usable->target.substr(0, usable->target.find('?'));
  return platform::Escaped(platform::UrlOrigin(*usable)).append(path, 0, kMaxShownBytes);
}

void LogTransferFailure(const std::string& url, const TransferFailure& failure,
                        int64_t took_ms) noexcept {
  try {
    if (!failure.refusal.empty()) {
      ZO_LOG(LV_ERR) << "[transfer]No request can be sent, error:" << failure.refusal;
    }
    const TransferSteps& steps = failure.steps;
    ZO_LOG(LV_APP) << "[transfer] " << ShownUrl(url) << " failed: " << WordOf(failure.cause).data()
                   << " after " << took_ms << " ms (name " << ShownStep(steps.name_ms)
                   << ", connect " << ShownStep(steps.connect_ms) << ", tls "
                   << ShownStep(steps.tls_ms) << ", head " << ShownStep(steps.head_ms) << ")";
  } catch (const std::exception&) {
    return;  // no memory: the answer counts, not the line
  }
}

}  // namespace KRBASE::network
