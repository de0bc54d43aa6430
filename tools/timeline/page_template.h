#pragma once

#include <string_view>

namespace timeline {

// Returns the page before and after its data. EmbedPage.cmake writes the definitions.
std::string_view PageHead();
std::string_view PageTail();

}  // namespace timeline
