#pragma once

#include <list>
#include <string>
#include <vector>

#include "net/ip_address.h"

// The one use of the system's resolver. Both calls block for as long as it does, which can be
// many seconds; that wait lands on the calling thread and can't be cut short. Hosts written as
// numbers are answered without a look-up.
// Threads: any.
namespace net {

struct ResolvedAddressList {
  std::vector<IPEndpoint> endpoints;  // in the resolver's order; the ports are 0
  std::string canonical_name;         // empty unless it was asked for and given
};

// Bits of `flags`; all others are ignored.
enum ResolveFlags : int {
  kResolveCanonicalName = 1,
  // If a family was asked for and gave loopback addresses of one family alone, ask again for
  // both: a name of this host is then of every family that it has.
  kResolveLoopbackOfAnyFamily = 4,
};

enum ResolveError : int {
  kResolved = 0,
  kNameNotResolved = -105,   // there is no such name, or it has no address of the family
  kResolutionFailed = -137,  // the resolver couldn't tell
};

// Looks up `host` for stream sockets. On failure `list` is empty and `system_error` holds what
// the system said: getaddrinfo's code (EAI_..., negative here), or errno (positive) for its
// EAI_SYSTEM. A family other than kIPFamilyV4 and kIPFamilyV6 asks for both.
ResolveError ResolveHostEndpoints(const std::string& host, int flags, AddressFamily family,
                                  ResolvedAddressList& list, int& system_error);

// The same as texts, for reports: an IPv4 address as it is, an IPv6 address in brackets
// followed by ":0". The result is 0, or the system's code of a failure with `out` empty.
int ResolveHostAddresses(const std::string& host, std::list<std::string>& out, int flags,
                         AddressFamily family);

}  // namespace net
