#pragma once

#include <cstdint>
#include <string>

#include "tools/state/client_state.h"

namespace client_state {

// Returns the state in plain sentences, for a reader who doesn't know the library.
std::string StateWords(const ClientState& state);

// Returns a time such as "45 s", "12 min", "3 h 12 min" or "2 d 3 h". Drops the sign.
std::string DurationWords(int64_t ms);

}  // namespace client_state
