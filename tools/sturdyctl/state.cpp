#include <cstdio>
#include <string>

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
  client_state::ClientState state = client_state::ReadState(FindClientFolder(options.folder));
  if (options.redact) {
    redactor::Redactor redactor;
    client_state::RedactState(redactor, state);
  }
  const std::string text = options.json ? JsonText(client_state::ToJson(state), 2) + "\n"
                                        : client_state::StateWords(state);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return kExitOk;
}

}  // namespace sturdyctl
