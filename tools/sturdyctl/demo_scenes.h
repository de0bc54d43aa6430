#pragma once

#include "tools/sturdyctl/story.h"

namespace sturdyctl {

// The scenes of the demo. False once a step hasn't come out as told.

// LBS servers that refuse, stay silent and answer; rotation, hold, fall-back; the cache.
[[nodiscard]] bool TellFailOver(Story& story);
// LBS servers that are dead by name and reached through HTTP DNS; the report of the failures.
[[nodiscard]] bool TellHttpDns(Story& story);

}  // namespace sturdyctl
