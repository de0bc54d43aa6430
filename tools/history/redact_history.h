#pragma once

#include "tools/history/history.h"
#include "tools/redactor/redactor.h"

namespace history {

// Replaces the application's key and each value of a query by "[redacted]" in all texts of the
// model, those of the messages included. The redactor learns the keys.
void RedactHistory(redactor::Redactor& redactor, History& history);

}  // namespace history
