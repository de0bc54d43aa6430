#pragma once

#include "tools/sturdyctl/story.h"

namespace sturdyctl {

// The scenes of the demo. Each returns false if a step failed.

// Shows LBS servers that refuse, stay silent or answer; rotation, hold and fall-back; the cache.
[[nodiscard]] bool PlayFailOver(Story& story);
// Shows LBS servers that only HTTP DNS can reach, and the failure report.
[[nodiscard]] bool PlayHttpDns(Story& story);

}  // namespace sturdyctl
