#include "network/platform/curl/redirect_url.h"

#include <memory>

#include "network/platform/curl/curl_library.h"
#include "network/platform/curl/exit_gate_guard.h"

namespace KRBASE::network::platform {

namespace {

struct CurlUrlDeleter {
  void operator()(CURLU* handle) const { Curl().url_cleanup(handle); }
};

// Returns nothing if `location` makes no URL, or if the process is exiting.
std::optional<std::string> JoinUrls(const std::string& base, const std::string& location) {
  const ExitGateGuard inside;
  if (!inside) {
    return std::nullopt;
  }
  const std::unique_ptr<CURLU, CurlUrlDeleter> handle(Curl().url());
  char* text = nullptr;
  if (handle == nullptr ||
      Curl().url_set(handle.get(), CURLUPART_URL, base.c_str(), 0) != CURLUE_OK ||
      Curl().url_set(handle.get(), CURLUPART_URL, location.c_str(), 0) != CURLUE_OK ||
      Curl().url_get(handle.get(), CURLUPART_URL, &text, 0) != CURLUE_OK) {
    return std::nullopt;
  }
  const std::unique_ptr<char, decltype(CurlLibrary::free)> owner(text, Curl().free);
  return text;
}

}  // namespace

std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, const std::string& location) {
  const std::optional<std::string> absolute =
      JoinUrls(UrlOrigin(base) + base.target, Escaped(location));
  if (!absolute.has_value()) {
    return std::nullopt;
  }
  return CrackUrl(*absolute, absolute->size() + 1, absolute->size() + 2);
}

}  // namespace KRBASE::network::platform
