#pragma once

#include <nlohmann/json.hpp>

#include "tools/history/history.h"

namespace timeline {

// Returns the history as Trace Event JSON, for Perfetto and chrome://tracing. Each run is a
// process. A request to a URL is an asynchronous event with an id of its own: requests overlap, and
// slices of one track that overlap without nesting are dropped by the viewers. Answers and wishes
// for a fetch are instants. A flow leads from the silence or the failure of a URL to the request
// that it caused.
nlohmann::ordered_json MakeTrace(const history::History& history);

}  // namespace timeline
