#include "network/platform/redirect.h"

#include <algorithm>
#include <string>
#include <utility>

#include "network/platform/header_lines.h"
#include "network/platform/transfer_limits.h"

namespace KRBASE::network::platform {

namespace {

bool IsRedirect(int32_t status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// As browsers do it: a POST stays one only after 307 and 308.
bool BecomesGet(int32_t status, HttpMethod method) {
  return status == 303 || (method == kHttpMethodPost && (status == 301 || status == 302));
}

bool HasScheme(std::string_view reference) {
  const size_t end = reference.find_first_of(":/?");
  return end != std::string_view::npos && reference[end] == ':';
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
  const std::string reference = Escaped(location.substr(0, location.find('#')));
  std::string absolute;
  if (HasScheme(reference)) {
    absolute = reference;
  } else if (reference.rfind("//", 0) == 0) {
    absolute = (base.is_https ? "https:" : "http:") + reference;
  } else {
    absolute = UrlOrigin(base) + JoinTargets(base.target, reference);
  }
  std::optional<HttpUrl> url = CrackUrl(absolute, absolute.size() + 1, absolute.size() + 2);
  if (url.has_value()) {
    url->target = WithoutDotSegments(url->target);
  }
  return url;
}

}  // namespace KRBASE::network::platform
