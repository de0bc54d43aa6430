#pragma once

#include <string>

#include "tools/history/history.h"

namespace sturdyctl {

// Reads the history of the client whose log is at a path, without its secrets if `redact` is set.
// Errors: UsageError if the file has no line of a log.
history::History ReadClient(const std::string& log_path, bool redact);

}  // namespace sturdyctl
