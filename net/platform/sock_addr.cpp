#include "net/platform/sock_addr.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "net/platform/sock_addr_layout.h"

namespace net {
namespace {

struct Layout {
  AddressFamily family;
  size_t size_bytes;
  size_t address_offset;
  size_t address_bytes;
};

constexpr std::array<Layout, 2> kLayouts = {
    Layout{kIPFamilyV4, kSockAddrV4Bytes, kSockAddrV4Offset, 4},
    Layout{kIPFamilyV6, kSockAddrV6Bytes, kSockAddrV6Offset, 16}};

}  // namespace

bool EndpointToSockAddr(const IPEndpoint& endpoint, void* address, size_t& length) {
  for (const Layout& layout : kLayouts) {
    if (layout.family != AddressFamilyOf(endpoint.address) || length < layout.size_bytes) {
      continue;
    }
    const uint16_t family = SystemFamily(layout.family);
    auto* const bytes = static_cast<uint8_t*>(address);
    std::fill_n(bytes, layout.size_bytes, uint8_t{0});
    std::memcpy(bytes, &family, sizeof(family));
    bytes[kSockAddrPortOffset] = static_cast<uint8_t>(endpoint.port >> 8U);
    bytes[kSockAddrPortOffset + 1] = static_cast<uint8_t>(endpoint.port);
    std::copy(endpoint.address.begin(), endpoint.address.end(), bytes + layout.address_offset);
    length = layout.size_bytes;
    return true;
  }
  return false;
}

bool SockAddrToEndpoint(const void* address, size_t length, IPEndpoint& endpoint) {
  uint16_t family = 0;
  if (address == nullptr || length < sizeof(family)) {
    return false;
  }
  std::memcpy(&family, address, sizeof(family));
  for (const Layout& layout : kLayouts) {
    if (family != SystemFamily(layout.family) || length < layout.size_bytes) {
      continue;
    }
    const auto* const bytes = static_cast<const uint8_t*>(address);
    const auto* const begin = bytes + layout.address_offset;
    const auto* const port = bytes + kSockAddrPortOffset;
    endpoint.address.assign(begin, begin + layout.address_bytes);
    endpoint.port = static_cast<uint16_t>(port[0] << 8U | port[1]);
    return true;
  }
  return false;
}

}  // namespace net
