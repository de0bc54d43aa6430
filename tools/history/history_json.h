#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tools/history/history.h"

namespace history {

// Returns the history as data, in the form that `sturdyctl why --help` describes. Texts of the log
// stay as they are: they may have bytes that aren't UTF-8.
nlohmann::ordered_json ToJson(const History& history);

// Returns one fetch, and one answer, in the same form. `id` is the fetch's place in the list.
nlohmann::ordered_json ToJson(const Fetch& fetch, size_t id);
nlohmann::ordered_json ToJson(const Answer& answer, const History& history);

}  // namespace history
