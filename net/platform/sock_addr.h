#pragma once

#include <sys/socket.h>

#include "net/ip_address.h"

// Converts endpoints to the system's socket addresses and back.
// Threads: any, both functions are pure.
// Errors:  by result; a failure leaves the outputs unchanged.
namespace net {

// Fills `address`, a buffer of `length` bytes, and sets `length` to the used size. Fails if the
// endpoint's address is invalid or the buffer is shorter than 16 bytes for IPv4 or 28 for IPv6.
bool EndpointToSockAddr(const IPEndpoint& endpoint, sockaddr* address, socklen_t& length);

// Fails for other families than IPv4 and IPv6, and for a length that is too short.
bool SockAddrToEndpoint(const sockaddr* address, socklen_t length, IPEndpoint& endpoint);

}  // namespace net
