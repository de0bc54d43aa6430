#include "net/platform/system_resolver.h"

// First, since windows.h would bring the older Winsock.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstddef>
#include <memory>

#include "net/platform/sock_addr.h"
#include "net/platform/sock_addr_layout.h"

namespace net {
namespace {

static_assert(offsetof(sockaddr, sa_family) == 0 &&
              sizeof(sockaddr::sa_family) == sizeof(uint16_t));
static_assert(sizeof(sockaddr_in) == kSockAddrV4Bytes &&
              offsetof(sockaddr_in, sin_port) == kSockAddrPortOffset &&
              offsetof(sockaddr_in, sin_addr) == kSockAddrV4Offset);
static_assert(sizeof(sockaddr_in6) == kSockAddrV6Bytes &&
              offsetof(sockaddr_in6, sin6_port) == kSockAddrPortOffset &&
              offsetof(sockaddr_in6, sin6_addr) == kSockAddrV6Offset);

struct AddrInfoDeleter {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

// Winsock, for one look-up. The system counts the users, so nothing is left to undo when the
// library is unloaded, where Winsock may not be called.
class ScopedWinsock {
 public:
  ScopedWinsock() : error_(WSAStartup(MAKEWORD(2, 2), &data_)) {}
  ~ScopedWinsock() {
    if (error_ == 0) {
      WSACleanup();
    }
  }
  ScopedWinsock(const ScopedWinsock&) = delete;
  ScopedWinsock& operator=(const ScopedWinsock&) = delete;

  [[nodiscard]] int error() const { return error_; }

 private:
  WSADATA data_{};
  const int error_;
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
  // The system would take an empty name as its own, and only the text before a NUL.
  if (host.empty() || host.find('\0') != std::string::npos) {
    return WSAHOST_NOT_FOUND;
  }
  const ScopedWinsock winsock;
  if (winsock.error() != 0) {
    return winsock.error();
  }
  addrinfo hints{};
  hints.ai_family = SystemFamily(family);
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = wants_canonical_name ? AI_CANONNAME : 0;
  addrinfo* head = nullptr;
  if (const int code = getaddrinfo(host.c_str(), nullptr, &hints, &head); code != 0) {
    const int last_error = WSAGetLastError();
    return last_error != 0 ? last_error : code;
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
  return system_error == WSAHOST_NOT_FOUND || system_error == WSANO_DATA ? kNameNotResolved
                                                                         : kResolutionFailed;
}

}  // namespace net
