#include <cstdio>
#include <string>

#include "tools/log_reader/log_reader.h"
#include "tools/state/read_state.h"
#include "tools/state/redact_state.h"
#include "tools/state/state_json.h"
#include "tools/state/state_words.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/find_log.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunState(const StateOptions& options) {
  const std::string client = FindClientFolder(options.folder);
  client_state::ClientState state = client_state::ReadState(client);
  if (options.redact) {
    redactor::Redactor redactor;
    for (const auto& message : log_reader::LogReader(LogOfClient(client)).ReadNewMessages()) {
      redactor.Learn(message.text);
    }
    client_state::RedactState(redactor, state);
  }
  const std::string text = options.json ? JsonText(client_state::ToJson(state), 2) + "\n"
                                        : client_state::StateWords(state);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return kExitOk;
}

}  // namespace sturdyctl
