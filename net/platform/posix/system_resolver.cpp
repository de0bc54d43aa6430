#include "net/platform/system_resolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <memory>

#include "net/platform/sock_addr.h"
#include "net/platform/sock_addr_layout.h"

namespace net {
namespace {

static_assert(offsetof(sockaddr, sa_family) == 0 && sizeof(sa_family_t) == sizeof(uint16_t));
static_assert(sizeof(sockaddr_in) == kSockAddrV4Bytes &&
              offsetof(sockaddr_in, sin_port) == kSockAddrPortOffset &&
              offsetof(sockaddr_in, sin_addr) == kSockAddrV4Offset);
static_assert(sizeof(sockaddr_in6) == kSockAddrV6Bytes &&
              offsetof(sockaddr_in6, sin6_port) == kSockAddrPortOffset &&
              offsetof(sockaddr_in6, sin6_addr) == kSockAddrV6Offset);

struct AddrInfoDeleter {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

}  // namespace

uint16_t SystemFamily(AddressFamily family) {
  switch (family) {
    case kIPFamilyV4:
      return AF_INET;
    case kIPFamilyV6:
      return AF_INET6;
    default:
      return AF_UNSPEC;
  }
}

int AskSystem(const std::string& host, bool wants_canonical_name, AddressFamily family,
              ResolvedAddressList& list) {
  if (host.empty() || host.find('\0') != std::string::npos) {
    return EAI_NONAME;  // the system would look up only the text before the NUL
  }
  addrinfo hints{};
  hints.ai_family = SystemFamily(family);
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = wants_canonical_name ? AI_CANONNAME : 0;
  addrinfo* head = nullptr;
  const int code = getaddrinfo(host.c_str(), nullptr, &hints, &head);
  if (code != 0) {
    return code == EAI_SYSTEM && errno != 0 ? errno : code;
  }
  const std::unique_ptr<addrinfo, AddrInfoDeleter> owner(head);
  if (head->ai_canonname != nullptr) {
    list.canonical_name = head->ai_canonname;
  }
  for (const addrinfo* info = head; info != nullptr; info = info->ai_next) {
    IPEndpoint endpoint;
    if (SockAddrToEndpoint(info->ai_addr, info->ai_addrlen, endpoint)) {
      list.endpoints.push_back(endpoint);
    }
  }
  return 0;
}

ResolveError ResolveErrorOf(int system_error) {
  return system_error == EAI_NONAME || system_error == EAI_NODATA || system_error == EAI_ADDRFAMILY
             ? kNameNotResolved
             : kResolutionFailed;
}

}  // namespace net
