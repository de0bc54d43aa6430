#include <cstdio>
#include <stdexcept>
#include <string>

#include "lab/scenario.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/demo_scenes.h"
#include "tools/sturdyctl/story.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

int Play() {
  std::puts("A client asks where to connect while its servers fail.\n");
  Story story;
  if (!PlayFailOver(story) || !PlayHttpDns(story)) {
    std::puts("\nA step failed.");
    return kExitFailed;
  }
  std::puts("\nAll steps passed.");
  return kExitOk;
}

}  // namespace

int RunDemo() {
  try {
    return Play();
  } catch (const lab::ScenarioError& error) {
    // The scenarios are valid, so the lab lacks something: without TLS it plays no https.
    throw std::runtime_error(std::string("this build can't play the demo: ") + error.what());
  }
}

}  // namespace sturdyctl
