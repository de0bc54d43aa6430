#include "network/platform/http_url.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <string_view>

#include "net/ip_address.h"
#include "net/url.h"
#include "network/platform/curl_library.h"
#include "network/platform/exit_gate.h"
#include "network/platform/header_lines.h"

namespace KRBASE::network::platform {

namespace {

struct CurlUrlDeleter {
  void operator()(CURLU* handle) const { Curl().url_cleanup(handle); }
};

std::string_view TextOf(const std::string& text, const url::URLRange& range) {
  if (range.len <= 0) {
    return {};
  }
  return std::string_view(text).substr(static_cast<size_t>(range.begin),
                                       static_cast<size_t>(range.len));
}

// The length in UTF-16 units, the unit of the limits.
size_t WideLength(std::string_view utf8) {
  size_t units = 0;
  for (const char byte : utf8) {
    const auto value = static_cast<unsigned char>(byte);
    units += (value & 0xC0U) != 0x80U ? 1 : 0;
    units += value >= 0xF0U ? 1 : 0;
  }
  return units;
}

std::optional<uint16_t> PortOf(std::string_view text, bool is_https) {
  uint16_t port = 0;
  if (!text.empty()) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size()) {
      return std::nullopt;
    }
  }
  if (port == 0) {
    port = is_https ? 443 : 80;
  }
  return port;
}

std::string Escaped(std::string_view text) {
  static constexpr char kHexDigits[] = "0123456789ABCDEF";
  std::string escaped;
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    if (value <= 0x20U || value >= 0x7FU) {
      escaped += {'%', kHexDigits[value >> 4U], kHexDigits[value & 0xFU]};
    } else {
      escaped += byte;
    }
  }
  return escaped;
}

std::string CanonicalHost(std::string_view host) {
  net::IPBytes address;
  if (!net::ParseIPLiteral(host, address)) {
    return std::string(host);
  }
  return UrlHost(address);
}

// Empty if `location` makes no URL, or if the process is exiting.
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

std::string UrlHost(const net::IPBytes& address) {
  std::string text = net::IPBytesToText(address);
  if (net::AddressFamilyOf(address) == net::kIPFamilyV6) {
    text.insert(0, 1, '[').push_back(']');
  }
  return text;
}

std::optional<HttpUrl> CrackUrl(const std::string& url, size_t host_limit, size_t path_limit) {
  if (url.size() > INT32_MAX) {
    return std::nullopt;
  }
  url::URLParts parts;
  url::ParseURL(url.data(), static_cast<int32_t>(url.size()), parts);
  HttpUrl cracked;
  const std::string_view scheme = TextOf(url, parts.scheme);
  cracked.is_https = SameName(scheme, "https");
  if (!cracked.is_https && !SameName(scheme, "http")) {
    return std::nullopt;
  }
  // Path and query form the target; without a path it is the root.
  const std::string_view host = TextOf(url, parts.host);
  std::string target(TextOf(url, parts.path));
  std::replace(target.begin(), target.end(), '\\', '/');
  if (target.empty()) {
    target.push_back('/');
  }
  if (parts.query.len > 0) {
    target.append("?").append(TextOf(url, parts.query));
  }
  // Check the limits before escaping, which makes the target longer.
  const std::optional<uint16_t> port = PortOf(TextOf(url, parts.port), cracked.is_https);
  if (host.empty() || WideLength(host) >= host_limit || WideLength(target) >= path_limit ||
      !port.has_value()) {
    return std::nullopt;
  }
  cracked.host = CanonicalHost(host);
  cracked.port = *port;
  cracked.target = Escaped(target);
  return cracked;
}

std::string UrlOrigin(const HttpUrl& url) {
  return (url.is_https ? "https://" : "http://") + url.host + ":" + std::to_string(url.port);
}

std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, const std::string& location) {
  const std::optional<std::string> absolute =
      JoinUrls(UrlOrigin(base) + base.target, Escaped(location));
  if (!absolute.has_value()) {
    return std::nullopt;
  }
  return CrackUrl(*absolute, absolute->size() + 1, absolute->size() + 2);
}

}  // namespace KRBASE::network::platform
