#pragma once

#include <cstdint>

namespace KRBASE::network {

// The one status of HTTP that counts as success: a 204 is none here.
inline constexpr int32_t kStatusOk = 200;

}  // namespace KRBASE::network
