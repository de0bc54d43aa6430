#pragma once

#include <nlohmann/json.hpp>

#include "tools/state/client_state.h"

namespace client_state {

// Returns the state as data, in the form that `sturdyctl state --help` describes. Texts stay as
// they are: they may have bytes that aren't UTF-8.
nlohmann::ordered_json ToJson(const ClientState& state);

}  // namespace client_state
