#include "net/platform/sock_addr.h"

#include <netinet/in.h>

#include <cstring>

namespace net {
namespace {

static_assert(sizeof(sockaddr_in) == 16 && sizeof(sockaddr_in6) == 28);

// Copy the structures, since a caller's buffer may be unaligned.
template <typename T>
bool CopyTo(const T& from, sockaddr* address, socklen_t& length) {
  if (length < sizeof(from)) {
    return false;
  }
  std::memcpy(static_cast<void*>(address), &from, sizeof(from));
  length = sizeof(from);
  return true;
}

template <typename T>
bool CopyFrom(const sockaddr* address, socklen_t length, T& to) {
  if (length < sizeof(to)) {
    return false;
  }
  std::memcpy(&to, static_cast<const void*>(address), sizeof(to));
  return true;
}

template <typename T>
IPEndpoint MakeEndpoint(const T& address, in_port_t port) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(&address);
  return {IPBytes(bytes, bytes + sizeof(address)), ntohs(port)};
}

}  // namespace

bool EndpointToSockAddr(const IPEndpoint& endpoint, sockaddr* address, socklen_t& length) {
  switch (AddressFamilyOf(endpoint.address)) {
    case kIPFamilyV4: {
      sockaddr_in v4{};
      v4.sin_family = AF_INET;
      v4.sin_port = htons(endpoint.port);
      std::memcpy(&v4.sin_addr, endpoint.address.data(), sizeof(v4.sin_addr));
      return CopyTo(v4, address, length);
    }
    case kIPFamilyV6: {
      sockaddr_in6 v6{};
      v6.sin6_family = AF_INET6;
      v6.sin6_port = htons(endpoint.port);
      std::memcpy(&v6.sin6_addr, endpoint.address.data(), sizeof(v6.sin6_addr));
      return CopyTo(v6, address, length);
    }
    default:
      return false;
  }
}

bool SockAddrToEndpoint(const sockaddr* address, socklen_t length, IPEndpoint& endpoint) {
  if (address == nullptr || length < sizeof(sa_family_t)) {
    return false;
  }
  sockaddr_in v4{};
  sockaddr_in6 v6{};
  if (address->sa_family == AF_INET && CopyFrom(address, length, v4)) {
    endpoint = MakeEndpoint(v4.sin_addr, v4.sin_port);
    return true;
  }
  if (address->sa_family == AF_INET6 && CopyFrom(address, length, v6)) {
    endpoint = MakeEndpoint(v6.sin6_addr, v6.sin6_port);
    return true;
  }
  return false;
}

}  // namespace net
