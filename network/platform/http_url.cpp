#include "network/platform/http_url.h"

#include <algorithm>
#include <cstdint>

#include "base/ascii.h"
#include "base/decimal.h"
#include "net/ip_address.h"
#include "net/url.h"

namespace KRBASE::network::platform {

namespace {

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

// Returns the default port for 0 or an empty text, and nothing for a text that is no port.
std::optional<uint16_t> PortOf(std::string_view text, bool is_https) {
  const auto port = text.empty() ? 0 : zo_base::WholeNumber<uint16_t>(text);
  return port == 0 ? url::DefaultPort(is_https) : port;
}

std::string CanonicalHost(std::string_view host) {
  net::IPBytes address;
  if (!net::ParseIPLiteral(host, address)) {
    return std::string(host);
  }
  return UrlHost(address);
}

}  // namespace

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

std::string UrlHost(const net::IPBytes& address) {
  const std::string text = net::IPBytesToText(address);
  return net::AddressFamilyOf(address) == net::kIPFamilyV6 ? net::InBrackets(text) : text;
}

std::optional<HttpUrl> CrackUrl(const std::string& url, size_t host_limit, size_t path_limit) {
  // Accept http and https.
  if (url.size() > INT32_MAX) {
    return std::nullopt;
  }
  url::URLParts parts;
  url::ParseURL(url.data(), static_cast<int32_t>(url.size()), parts);
  HttpUrl cracked;
  const std::string_view scheme = url::TextOfRange(url, parts.scheme);
  cracked.is_https = zo_base::EqualIgnoringCase(scheme, "https");
  if (!cracked.is_https && !zo_base::EqualIgnoringCase(scheme, "http")) {
    return std::nullopt;
  }
  // Path and query form the target; without a path it is the root.
  const std::string_view host = url::TextOfRange(url, parts.host);
  std::string target(url::TextOfRange(url, parts.path));
  std::replace(target.begin(), target.end(), '\\', '/');
  if (target.empty()) {
    target.push_back('/');
  }
  if (parts.query.len > 0) {
    target.append("?").append(url::TextOfRange(url, parts.query));
  }
  // Check the limits before escaping, which makes the target longer.
  const std::optional<uint16_t> port = PortOf(url::TextOfRange(url, parts.port), cracked.is_https);
  if (host.empty() || WideLength(host) >= host_limit || WideLength(target) >= path_limit ||
      !port.has_value()) {
    return std::nullopt;
  }
  // Bring all into the form that is sent.
  cracked.host = CanonicalHost(host);
  cracked.port = *port;
  cracked.target = Escaped(target);
  return cracked;
}

std::string UrlOrigin(const HttpUrl& url) {
  return (url.is_https ? "https://" : "http://") + url.host + ":" + std::to_string(url.port);
}

}  // namespace KRBASE::network::platform
