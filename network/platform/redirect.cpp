#include "network/platform/redirect.h"

#include <algorithm>
#include <string>
#include <utility>

#include "base/ascii.h"
#include "network/platform/header_lines.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

// Servers write "http:/host" and "http:///host" too, and common clients take that.
constexpr size_t kMaxSlashes = 3;

bool IsRedirect(int32_t status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// As browsers do it: a POST stays one only after 307 and 308.
bool BecomesGet(int32_t status, HttpMethod method) {
  return status == 303 || (method == kHttpMethodPost && (status == 301 || status == 302));
}

bool IsLetter(char c) {
  const char lower = zo_base::LowerAscii(c);
  return lower >= 'a' && lower <= 'z';
}

// A colon alone doesn't make a scheme: "page;x=1:2" is a path.
bool HasScheme(std::string_view reference) {
  const auto* const end = std::find_if_not(reference.begin(), reference.end(), [](char c) {
    return IsLetter(c) || zo_base::IsDigit(c) || c == '+' || c == '-' || c == '.';
  });
  return end != reference.end() && *end == ':' && IsLetter(reference.front());
}

// Returns whether a host can have this character, whatever its encoding.
bool IsVisible(char c) {
  return static_cast<unsigned char>(c) > 0x20U && c != 0x7F;
}

std::string_view PathOf(std::string_view target) {
  return target.substr(0, target.find('?'));
}

// The target that a reference without scheme and host leads to.
std::string JoinTargets(const std::string& base, const std::string& reference) {
  if (reference.empty()) {
    return base;
  }
  if (reference.front() == '/') {
    return reference;
  }
  const std::string_view path = PathOf(base);
  const size_t kept = reference.front() == '?' ? path.size() : path.rfind('/') + 1;
  return std::string(path.substr(0, kept)).append(reference);
}

// Takes the segments "." and ".." out of the path. Requires: it begins with a slash.
std::string WithoutDotSegments(std::string_view target) {
  std::string kept;
  std::string_view rest = PathOf(target);
  const std::string_view query = target.substr(rest.size());
  while (!rest.empty()) {
    const std::string_view segment = rest.substr(0, rest.find('/', 1));  // with its slash
    rest.remove_prefix(segment.size());
    if (segment != "/." && segment != "/..") {
      kept.append(segment);
      continue;
    }
    if (segment == "/.." && !kept.empty()) {
      kept.resize(kept.rfind('/'));
    }
    if (rest.empty()) {
      kept.push_back('/');
    }
  }
  return kept.append(query);
}

}  // namespace

NextHop NextHopOf(const HttpUrl& url, int32_t status, std::string_view head, int redirects) {
  const std::string location = IsRedirect(status) ? HeaderValue(head, "Location") : "";
  if (location.empty()) {
    return {};
  }
  std::optional<HttpUrl> target = ResolveLocation(url, location);
  if (!target.has_value()) {
    return {.is_final = false, .refusal = TransferCause::kBadUrl};
  }
  if (url.is_https && !target->is_https) {
    return {};
  }
  if (redirects == kMaxRedirects) {
    return {.is_final = false, .refusal = TransferCause::kTooManyRedirects};
  }
  return {.is_final = false, .target = std::move(target)};
}

void Follow(HttpUrl target, int32_t status, TransferPlan& plan) {
  plan.url = std::move(target);
  plan.headers.Remove("Host");
  if (BecomesGet(status, plan.method)) {
    plan.method = kHttpMethodGet;
    plan.body = {};
    plan.headers.Remove("Content-Type");
  }
}

std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, std::string_view location) {
  const std::string reference(location.substr(0, location.find('#')));
  std::string absolute;
  if (HasScheme(reference)) {
    absolute = reference;
  } else if (reference.rfind("//", 0) == 0) {
    absolute = (base.is_https ? "https:" : "http:") + reference;
  } else {
    absolute = UrlOrigin(base) + JoinTargets(base.target, reference);
  }
  // Refuse what CrackUrl would read a host into.
  const size_t slashes = absolute.find(':') + 1;
  const size_t begin = std::min(absolute.find_first_not_of('/', slashes), absolute.size());
  const size_t target = std::min(absolute.find_first_of("/\\?", begin), absolute.size());
  const std::string_view authority = std::string_view(absolute).substr(begin, target - begin);
  if (begin == slashes || begin > slashes + kMaxSlashes || authority.empty() ||
      !std::all_of(authority.begin(), authority.end(), IsVisible)) {
    return std::nullopt;
  }
  // Escape the target, and give it a slash, since CrackUrl drops at the end what isn't ASCII.
  absolute.replace(target, std::string::npos,
                   target == absolute.size() ? "/" : Escaped(absolute.substr(target)));
  std::optional<HttpUrl> url = CrackUrl(absolute, absolute.size() + 1, absolute.size() + 2);
  if (url.has_value()) {
    url->target = WithoutDotSegments(url->target);
  }
  return url;
}

}  // namespace KRBASE::network::platform
