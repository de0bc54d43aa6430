#pragma once

#include <optional>
#include <string>

#include "network/platform/http_url.h"

namespace KRBASE::network::platform {

// Resolves a Location header against `base`. Refuses what CrackUrl refuses, except that it takes
// any length.
// Requires: libcurl is loaded.
// Threads:  any.
// Errors:   an empty result, also if the process is exiting. std::bad_alloc is the only exception.
std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, const std::string& location);

}  // namespace KRBASE::network::platform
