#pragma once

#include <string>

#include "tools/history/history.h"

namespace sturdyctl {

// Reads the history of the client whose log is at a path, without its secrets if `redact` is set.
history::History ReadClient(const std::string& log_path, bool redact);

}  // namespace sturdyctl
