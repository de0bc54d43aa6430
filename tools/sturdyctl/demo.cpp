#include <cstdio>

#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/demo_scenes.h"
#include "tools/sturdyctl/story.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunDemo() {
  std::puts("A client asks where to connect while its servers fail.\n");
  Story story;
  if (!PlayFailOver(story) || !PlayHttpDns(story)) {
    std::puts("\nA step failed.");
    return kExitFailed;
  }
  std::puts("\nAll steps passed.");
  return kExitOk;
}

}  // namespace sturdyctl
