#pragma once

#include "tools/sturdyctl/story.h"

namespace sturdyctl {

// The scenes of the demo. A step that doesn't see what it expects throws StepFailed, which Story
// prints; the scene then ends and returns false. A scene whose servers can't start throws
// lab::ScenarioError.
// Threads: the caller's; the lab's servers and the client have their own.

// Shows LBS servers that refuse, stay silent or answer; rotation, hold and fall-back; the cache.
[[nodiscard]] bool PlayFailOver(Story& story);
// Shows LBS servers that only HTTP DNS can reach, and the failure report.
[[nodiscard]] bool PlayHttpDns(Story& story);

}  // namespace sturdyctl
