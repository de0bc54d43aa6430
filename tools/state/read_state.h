#pragma once

#include <string>

#include "tools/state/client_state.h"

namespace client_state {

// Reads the caches in a client's folder by the rules of the library's own code. Changes nothing.
// A file that the client writes meanwhile can appear damaged.
// Errors: none are thrown; each file has its condition and its faults.
ClientState ReadState(const std::string& folder);

}  // namespace client_state
