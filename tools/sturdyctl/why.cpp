#include <cstdio>
#include <string>

#include "tools/history/history_json.h"
#include "tools/history/read_history.h"
#include "tools/history/redact_history.h"
#include "tools/history/why_words.h"
#include "tools/log_reader/log_reader.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunWhy(const WhyOptions& options) {
  log_reader::LogReader log(FindLog(options.folder));
  history::History history = history::ReadHistory(log.ReadNewMessages());
  if (options.redact) {
    history::RedactHistory(history);
  }
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
