#include <stdexcept>
#include <string>

#include "base/platform/file.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/read_client.h"
#include "tools/sturdyctl/usage_error.h"
#include "tools/timeline/page.h"
#include "tools/timeline/trace.h"

namespace sturdyctl {

namespace {

// Only the user may read a new file, as the client's log: it has the application's key.
void WriteFile(const std::string& path, const std::string& text) {
  if (!zo_base::WriteWholeFile(path, text)) {
    throw std::runtime_error(path + " can't be written.");
  }
}

}  // namespace

int RunTimeline(const TimelineOptions& options) {
  const std::string log_path = FindLog(options.folder);
  const history::History history = ReadClient(log_path, options.redact);
  WriteFile(options.output, timeline::MakePage(history, log_path));
  if (!options.trace.empty()) {
    WriteFile(options.trace, JsonText(timeline::MakeTrace(history)));
  }
  return kExitOk;
}

}  // namespace sturdyctl
