#pragma once

#include <string>

#include "tools/state/client_state.h"

namespace client_state {

// Says in which condition the cache file at a path is. Reads it and changes nothing.
CacheFile InspectCacheFile(const std::string& path);

// Adds a fault if a member's text isn't JSON.
void InspectMember(const std::string& member, const std::string& text, CacheFile& file);

}  // namespace client_state
