#pragma once

#include <cstddef>
#include <cstdint>

#include "net/ip_address.h"

// The layout of socket addresses: first the family in the machine's byte order, then the port in
// network order. It is the same on all our systems; the room of each one asserts that.
namespace net {

inline constexpr size_t kSockAddrPortOffset = 2;
inline constexpr size_t kSockAddrV4Offset = 4;
inline constexpr size_t kSockAddrV4Bytes = 16;
inline constexpr size_t kSockAddrV6Offset = 8;
inline constexpr size_t kSockAddrV6Bytes = 28;

// Returns the system's number of a family; for kIPFamilyAny the number that stands for both.
uint16_t SystemFamily(AddressFamily family);

}  // namespace net
