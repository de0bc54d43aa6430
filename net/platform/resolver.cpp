#include "net/platform/resolver.h"

#include <algorithm>

#include "net/platform/system_resolver.h"

namespace net {
namespace {

bool IsLoopback(const IPBytes& address) {
  static constexpr uint8_t kLoopbackV4 = 127;
  if (AddressFamilyOf(address) == kIPFamilyV4) {
    return address[0] == kLoopbackV4;
  }
  IPBytes loopback_v6(16, 0);
  loopback_v6.back() = 1;
  return address == loopback_v6;
}

// Returns whether all addresses are loopback addresses of this family.
bool IsLoopbackOf(AddressFamily family, const std::vector<IPEndpoint>& endpoints) {
  return std::all_of(endpoints.begin(), endpoints.end(), [family](const IPEndpoint& endpoint) {
    return AddressFamilyOf(endpoint.address) == family && IsLoopback(endpoint.address);
  });
}

}  // namespace

ResolveError ResolveHostEndpoints(const std::string& host, int flags, AddressFamily family,
                                  ResolvedAddressList& list, int& system_error) {
  const bool is_of_one_family = family == kIPFamilyV4 || family == kIPFamilyV6;
  const bool wants_canonical_name = (flags & kResolveCanonicalName) != 0;
  list = ResolvedAddressList();
  system_error = AskSystem(host, wants_canonical_name, family, list);
  if (system_error == 0 && is_of_one_family && (flags & kResolveLoopbackOfAnyFamily) != 0 &&
      IsLoopbackOf(family, list.endpoints)) {
    list = ResolvedAddressList();
    system_error = AskSystem(host, wants_canonical_name, kIPFamilyAny, list);
  }
  return system_error == 0 ? kResolved : ResolveErrorOf(system_error);
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
