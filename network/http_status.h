#pragma once

#include <cstdint>

namespace KRBASE::network {

// The only status that counts as success; 204 does not.
inline constexpr int32_t kStatusOk = 200;

}  // namespace KRBASE::network
