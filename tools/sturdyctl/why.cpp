#include <cstdio>
#include <string>

#include "tools/history/history_json.h"
#include "tools/history/why_words.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/read_client.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunWhy(const WhyOptions& options) {
  history::History history = ReadClient(FindLog(options.folder), options.redact);
  if (options.json) {
    if (!options.all && history.answers.size() > 1) {
      history.answers.erase(history.answers.begin(), history.answers.end() - 1);
    }
    std::puts(JsonText(history::ToJson(history), 2).c_str());
    return kExitOk;
  }
  const history::WhyWords words(history);
  const std::string text = options.all ? words.All() : words.Last();
  std::fwrite(text.data(), 1, text.size(), stdout);
  return kExitOk;
}

}  // namespace sturdyctl
