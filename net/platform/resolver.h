#pragma once

#include <list>
#include <string>
#include <vector>

#include "net/ip_address.h"

// Calls the system's resolver; no other code does. Both calls block the calling thread until it
// answers, which can take many seconds and can't be interrupted. A numeric host needs no look-up.
// On Windows only tests look names up with it: WinHTTP does that for its transfers.
// Threads: any.
// Errors:  by result; a failure leaves no addresses.
namespace net {

struct ResolvedAddressList {
  std::vector<IPEndpoint> endpoints;  // in the resolver's order; the ports are 0
  std::string canonical_name;         // empty unless requested and known
};

// Bits of `flags`. Other bits are ignored.
enum ResolveFlags : int {
  kResolveCanonicalName = 1,
  // If one family was requested and all its addresses are loopback addresses, ask again for both
  // families: a name of this host then has all its addresses.
  kResolveLoopbackOfAnyFamily = 4,
};

enum ResolveError : int {
  kResolved = 0,
  kNameNotResolved = -105,   // no such name, or no address of the family
  kResolutionFailed = -137,  // the resolver failed
};

// Looks up `host` for stream sockets. On failure empties `list` and sets `system_error` to the
// system's code: on Linux that of getaddrinfo (EAI_..., negative here), or errno (positive) for its
// EAI_SYSTEM; on Windows that of WSAGetLastError. A family
// other than kIPFamilyV4 and kIPFamilyV6 requests both.
ResolveError ResolveHostEndpoints(const std::string& host, int flags, AddressFamily family,
                                  ResolvedAddressList& list, int& system_error);

// Returns the text of an address for reports: IPv4 as "address", IPv6 as "[address]:0".
std::string ReportedAddress(const IPBytes& address);

// Looks up `host` and returns its addresses as texts for reports. The result is 0, or the system's
// code; after a failure `out` is empty.
int ResolveHostAddresses(const std::string& host, std::list<std::string>& out, int flags,
                         AddressFamily family);

}  // namespace net
