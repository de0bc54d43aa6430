#pragma once

#include "tools/history/history.h"

namespace history {

// Replaces the application's key and each value of a query by "[redacted]" in all texts of the
// model, those of the messages included.
void RedactHistory(History& history);

}  // namespace history
