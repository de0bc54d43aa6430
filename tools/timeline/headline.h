#pragma once

#include <string>

#include "tools/history/history.h"

namespace timeline {

// Returns one sentence: which address the client got last, and why that one.
std::string Headline(const history::History& history);

}  // namespace timeline
