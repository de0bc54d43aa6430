#pragma once

#include <string>

#include "tools/state/client_state.h"

namespace client_state {

// Returns the state in plain sentences, for a reader who doesn't know the library.
std::string StateWords(const ClientState& state);

}  // namespace client_state
