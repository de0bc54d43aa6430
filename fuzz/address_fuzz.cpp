// Reads any text as an IP address and as a URL. The system's parsers judge the address where both
// must agree. The components of a URL must be in the text, in their order. A URL that the transport
// accepts must read the same when it is printed and read again.
#include <arpa/inet.h>

#include <algorithm>
#include <optional>
#include <string>

#include "fuzz/expect.h"
#include "net/ip_address.h"
#include "net/platform/sock_addr.h"
#include "net/url.h"
#include "network/platform/http_url.h"
#include "network/platform/redirect.h"

namespace {

constexpr size_t kHostLimit = 260;
constexpr size_t kPathLimit = 1024;

// Returns whether inet_aton must agree. It accepts text after a blank, and refuses a dot at the end
// and a hexadecimal number without digits.
bool IsForBoth(const std::string& text) {
  if (text.empty() || text.back() == '.' ||
      text.find_first_not_of("0123456789abcdefABCDEFxX.") != std::string::npos) {
    return false;
  }
  for (size_t i = text.find_first_of("xX"); i != std::string::npos;
       i = text.find_first_of("xX", i + 1)) {
    if (i + 1 == text.size() || text[i + 1] == '.') {
      return false;
    }
  }
  return true;
}

void JudgeV4(const std::string& text) {
  net::IPBytes ours;
  const bool taken = net::ParseIPLiteral(text, ours);
  in_addr theirs{};
  if (IsForBoth(text)) {
    Expect(taken == (inet_aton(text.c_str(), &theirs) != 0), "one opinion on IPv4", text);
    Expect(!taken || std::equal(ours.begin(), ours.end(), reinterpret_cast<uint8_t*>(&theirs)),
           "one IPv4 address", text);
  } else if (inet_pton(AF_INET, text.c_str(), &theirs) == 1 &&
             text.find('\0') == std::string::npos) {
    Expect(taken, "each dotted quad is an address", text);
  }
}

void JudgeV6(const std::string& text) {
  net::IPBytes ours;
  const bool taken = net::ParseIPLiteral(text, ours);
  const std::string bare =
      text.substr(text[0] == '[' ? 1 : 0,
                  text.size() - (text[0] == '[' ? 1 : 0) - (text.back() == ']' ? 1 : 0));
  uint8_t theirs[16];
  const bool taken_too =
      bare.find('\0') == std::string::npos && inet_pton(AF_INET6, bare.c_str(), theirs) == 1;
  Expect(taken || !taken_too, "each IPv6 address is one", text);
  // We accept IPv4 tails that the system refuses, such as 0x7f.1 and 0x.
  Expect(taken_too || !taken || text.find_first_of(".xX") != std::string::npos,
         "one opinion on IPv6", text);
  Expect(!taken_too || std::equal(ours.begin(), ours.end(), theirs), "one IPv6 address", text);
}

void JudgeLiteral(const std::string& text) {
  net::IPBytes address;
  net::AddressFamily family = net::kIPFamilyAny;
  const bool taken = net::ParseIPLiteral(text, address);
  Expect(net::IsIPLiteral(text) == taken, "test and parser agree", text);
  Expect(net::GetIPFamily(text, family) == taken && family == net::AddressFamilyOf(address),
         "the family is that of the bytes", text);
  if (!taken) {
    return;
  }
  const std::string printed = net::IPBytesToText(address);
  net::IPBytes again;
  Expect(net::ParseIPLiteral(printed, again) && again == address, "printed, read, the same", text);
  char theirs[INET6_ADDRSTRLEN] = {};
  inet_ntop(family == net::kIPFamilyV4 ? AF_INET : AF_INET6, address.data(), theirs, sizeof theirs);
  Expect(printed == theirs ||
             (family == net::kIPFamilyV6 && std::string(theirs).find('.') != std::string::npos),
         "printed as the system does", printed);
  const net::IPEndpoint endpoint{address, static_cast<uint16_t>(text.size())};
  sockaddr_storage storage{};
  size_t length = sizeof storage;
  net::IPEndpoint back;
  Expect(net::EndpointToSockAddr(endpoint, &storage, length) &&
             net::SockAddrToEndpoint(&storage, length, back) && back.address == address &&
             back.port == endpoint.port,
         "there and back as a socket address", text);
}

// Expects all components inside the text, in their order, with a separator between any two.
void JudgeParts(const std::string& text, const url::URLParts& parts) {
  int32_t end = -1;
  for (const url::URLRange* range : {&parts.scheme, &parts.username, &parts.password, &parts.host,
                                     &parts.port, &parts.path, &parts.query, &parts.ref}) {
    if (range->len < 0) {
      Expect(range->begin == 0 && range->len == -1, "absent is absent", text);
      continue;
    }
    Expect(range->begin > end || (range == &parts.path && range->begin == end),
           "in order and apart", text);
    end = range->begin + range->len;
    Expect(end <= static_cast<int32_t>(text.size()), "within the text", text);
  }
  Expect(parts.inner == nullptr, "nothing is wrapped", text);
}

void JudgeUrl(const std::string& text) {
  url::URLParts parts;
  url::ParseURL(text.data(), static_cast<int32_t>(text.size()), parts);
  JudgeParts(text, parts);
  const std::string host(url::TextOfRange(text, parts.host));
  const std::string port(url::TextOfRange(text, parts.port));
  Expect(url::GetURLHost(text, false) == host, "the host is its range", text);
  Expect(url::GetURLHost(text, true) == (host.empty() || port.empty() ? host : host + ":" + port),
         "the port goes with a host", text);
  std::string appended = "before";
  int32_t number = -7;
  url::GetURLHostAndPort(text, appended, number);
  Expect(appended == "before" + host, "the host is appended", text);
  Expect(number == (port.empty() ? -7 : url::GetURLPort(text)), "one reading of the port", text);
  const std::string scheme = url::GetURLScheme(text);
  Expect(scheme.empty() || std::count(url::kKnownSchemes.begin(), url::kKnownSchemes.end(), scheme),
         "a known scheme or none", text);
  Expect(url::IsHttpsURL(text) == (scheme == "https"), "https by its scheme", text);
}

// Expects that a request line has no byte that could end it, and that it reads the same again.
void JudgeTransfer(const std::string& text) {
  using namespace KRBASE::network::platform;  // NOLINT(google-build-using-namespace): for 5 names
  const std::optional<HttpUrl> url = CrackUrl(text, kHostLimit, kPathLimit);
  if (!url.has_value()) {
    return;
  }
  Expect(!url->host.empty() && url->target[0] == '/', "a host and a target", text);
  Expect(std::all_of(url->target.begin(), url->target.end(),
                     [](char c) { return c > ' ' && c < 0x7f; }),
         "a target for the wire", text);
  const std::optional<HttpUrl> again = CrackUrl(UrlOrigin(*url) + url->target, SIZE_MAX, SIZE_MAX);
  // After a bracket that isn't closed, the port counts as a part of the host.
  const bool is_open = url->host[0] == '[' && url->host.back() != ']';
  Expect(is_open || (again.has_value() && again->host == url->host && again->port == url->port &&
                     again->is_https == url->is_https && again->target == url->target),
         "read again, the same", UrlOrigin(*url) + url->target);
  const std::optional<HttpUrl> moved = ResolveLocation(HttpUrl{false, "h", 1, "/a/b?c"}, text);
  Expect(!moved.has_value() || (!moved->host.empty() && moved->target[0] == '/'),
         "a redirect leads somewhere", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  JudgeLiteral(text);
  if (text.find(':') == std::string::npos) {
    JudgeV4(text);
  } else {
    JudgeV6(text);
  }
  JudgeUrl(text);
  JudgeTransfer(text);
  return 0;
}
