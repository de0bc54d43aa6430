#pragma once

#include <string>
#include <string_view>

#include "tools/history/history.h"

namespace history {

// Returns what a cause means, "the server refused the connection"; empty for an unknown word.
std::string_view CauseWords(std::string_view cause);

// Returns the URL without its query, which has the key.
std::string ShortUrl(std::string_view url);

// Returns what happened to a URL, as sentences without the last one's end: "URL 0
// http://a.example/lbs answered with status 503 after 1 ms".
std::string TryWords(const Try& one);

// Returns why a start's cache didn't count: "the cache was damaged".
std::string RefusalWords(const std::string& refusal);

// Returns what a hold found: "it is in the list".
std::string HoldWords(const Hold& hold);

// Returns why a fetch was asked for: "the token changed".
std::string ReasonWords(AskedBecause reason);

}  // namespace history
