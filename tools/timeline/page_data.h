#pragma once

#include <nlohmann/json.hpp>

#include "tools/history/history.h"

namespace timeline {

// Returns what the scripts of the page draw. Times are in ms, and numbers of fetches, documents and
// messages are places in their lists. null: none.
nlohmann::ordered_json PageData(const history::History& history);

}  // namespace timeline
