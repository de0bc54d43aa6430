#include "tools/sturdyctl/read_client.h"

#include "tools/history/read_history.h"
#include "tools/history/redact_history.h"
#include "tools/log_reader/log_reader.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

history::History ReadClient(const std::string& log_path, bool redact) {
  log_reader::LogReader log(log_path);
  history::History history = history::ReadHistory(log.ReadNewMessages());
  if (history.runs.empty()) {
    throw UsageError("there is no line of a client's log in " + log_path + ".");
  }
  if (redact) {
    redactor::Redactor redactor;
    history::RedactHistory(redactor, history);
  }
  return history;
}

}  // namespace sturdyctl
