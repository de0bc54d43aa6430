#pragma once

#include "tools/redactor/redactor.h"
#include "tools/state/client_state.h"

namespace client_state {

// Replaces the application's key and each value of a query by "[redacted]" in all texts of the
// state. The redactor has learned the key from the client's log: the caches don't tell it.
void RedactState(const redactor::Redactor& redactor, ClientState& state);

}  // namespace client_state
