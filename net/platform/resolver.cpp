#include "net/platform/resolver.h"

#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

#include "net/platform/sock_addr.h"

namespace net {
namespace {

struct AddrInfoDeleter {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddrInfoList = std::unique_ptr<addrinfo, AddrInfoDeleter>;

int SystemFamily(AddressFamily family) {
  switch (family) {
    case kIPFamilyV4:
      return AF_INET;
    case kIPFamilyV6:
      return AF_INET6;
    default:
      return AF_UNSPEC;
  }
}

// Asks the system. Returns 0 or the system's code, which is never 0 on failure.
int Ask(const std::string& host, int flags, int system_family, AddrInfoList& list) {
  list.reset();
  if (host.find('\0') != std::string::npos) {
    return EAI_NONAME;  // the system would look up only the text before the NUL
  }
  addrinfo hints{};
  hints.ai_family = system_family;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = (flags & kResolveCanonicalName) != 0 ? AI_CANONNAME : 0;
  addrinfo* head = nullptr;
  const int code = getaddrinfo(host.c_str(), nullptr, &hints, &head);
  if (code == 0) {
    list.reset(head);
    return 0;
  }
  return code == EAI_SYSTEM && errno != 0 ? errno : code;
}

std::optional<IPEndpoint> ToEndpoint(const addrinfo& info) {
  IPEndpoint endpoint;
  if (!SockAddrToEndpoint(info.ai_addr, info.ai_addrlen, endpoint)) {
    return std::nullopt;
  }
  return endpoint;
}

bool IsLoopback(const IPBytes& address) {
  static constexpr uint8_t kLoopbackV4 = 127;
  if (AddressFamilyOf(address) == kIPFamilyV4) {
    return address[0] == kLoopbackV4;
  }
  IPBytes loopback_v6(16, 0);
  loopback_v6.back() = 1;
  return address == loopback_v6;
}

bool IsLoopbackOfOneFamily(const addrinfo* list) {
  const int family = list->ai_family;
  for (const addrinfo* info = list; info != nullptr; info = info->ai_next) {
    const std::optional<IPEndpoint> endpoint = ToEndpoint(*info);
    if (info->ai_family != family || !endpoint || !IsLoopback(endpoint->address)) {
      return false;
    }
  }
  return true;
}

ResolveError ErrorOf(int system_error) {
  return system_error == EAI_NONAME || system_error == EAI_NODATA || system_error == EAI_ADDRFAMILY
             ? kNameNotResolved
             : kResolutionFailed;
}

}  // namespace

ResolveError ResolveHostEndpoints(const std::string& host, int flags, AddressFamily family,
                                  ResolvedAddressList& list, int& system_error) {
  list = ResolvedAddressList();
  const int system_family = SystemFamily(family);
  AddrInfoList infos;
  system_error = Ask(host, flags, system_family, infos);
  if (system_error == 0 && system_family != AF_UNSPEC &&
      (flags & kResolveLoopbackOfAnyFamily) != 0 && IsLoopbackOfOneFamily(infos.get())) {
    system_error = Ask(host, flags, AF_UNSPEC, infos);
  }
  if (system_error != 0) {
    return ErrorOf(system_error);
  }
  if (infos->ai_canonname != nullptr) {
    list.canonical_name = infos->ai_canonname;
  }
  for (const addrinfo* info = infos.get(); info != nullptr; info = info->ai_next) {
    if (std::optional<IPEndpoint> endpoint = ToEndpoint(*info)) {
      list.endpoints.push_back(*std::move(endpoint));
    }
  }
  return kResolved;
}

std::string ReportedAddress(const IPBytes& address) {
  const bool is_v4 = AddressFamilyOf(address) == kIPFamilyV4;
  return is_v4 ? IPBytesToText(address) : EndpointToText({address, 0});
}

int ResolveHostAddresses(const std::string& host, std::list<std::string>& out, int flags,
                         AddressFamily family) {
  out.clear();
  ResolvedAddressList list;
  int system_error = 0;
  ResolveHostEndpoints(host, flags, family, list, system_error);
  for (const IPEndpoint& endpoint : list.endpoints) {
    out.push_back(ReportedAddress(endpoint.address));
  }
  return system_error;
}

}  // namespace net
