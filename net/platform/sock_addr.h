#pragma once

#include <cstddef>

#include "net/ip_address.h"

// Converts endpoints to the system's socket addresses and back. The buffers may be unaligned.
// Threads: any, both functions are pure.
// Errors:  by result; a failure leaves the outputs unchanged.
namespace net {

// Writes a socket address (sockaddr_in or sockaddr_in6) to `address`, a buffer of `length` bytes,
// and sets `length` to the used size. Fails if the endpoint's address is invalid or the buffer is
// shorter than 16 bytes for IPv4 or 28 for IPv6.
bool EndpointToSockAddr(const IPEndpoint& endpoint, void* address, size_t& length);

// Fails for other families than IPv4 and IPv6, and for a length that is too short.
bool SockAddrToEndpoint(const void* address, size_t length, IPEndpoint& endpoint);

}  // namespace net
