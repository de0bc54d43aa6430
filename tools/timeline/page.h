#pragma once

#include <string>

#include "tools/history/history.h"

// The page that shows a client's history. The build inlines into it all that it needs: its style,
// its scripts, and d3.
namespace timeline {

// Returns the page, one HTML text that opens without a network. `log_path` is shown on it. Texts of
// the log are data there: no server can put markup or a script on the page. Bytes that aren't UTF-8
// become U+FFFD.
std::string MakePage(const history::History& history, const std::string& log_path);

}  // namespace timeline
