#include <cstdio>

#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/demo_scenes.h"
#include "tools/sturdyctl/story.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunDemo() {
  std::puts("A client looks for its link server while its LBS servers fail.\n");
  Story story;
  if (!TellFailOver(story) || !TellHttpDns(story)) {
    std::puts("\nThe story did not come out as told.");
    return kExitFailed;
  }
  std::puts("\nEvery step came out as told.");
  return kExitOk;
}

}  // namespace sturdyctl
