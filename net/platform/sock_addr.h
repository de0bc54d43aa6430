#pragma once

#include <sys/socket.h>

#include "net/ip_address.h"

// Endpoints as the system's socket addresses. Threads: any.
namespace net {

// Fills `address`, whose size is given in `length`; `length` becomes the size used. False, with
// both left alone, if the address is invalid or the buffer is shorter than 16 bytes for IPv4 or 28
// for IPv6.
bool EndpointToSockAddr(const IPEndpoint& endpoint, sockaddr* address, socklen_t& length);

// The way back. False for families other than the two, and for a length that is too short.
bool SockAddrToEndpoint(const sockaddr* address, socklen_t length, IPEndpoint& endpoint);

}  // namespace net
