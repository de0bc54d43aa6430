#include "tools/state/redact_state.h"

namespace client_state {

void RedactState(redactor::Redactor& redactor, ClientState& state) {
  const auto redact = [&](std::string& text) { text = redactor.Redact(text); };
  const auto redact_all = [&](std::vector<std::string>& texts) {
    for (std::string& text : texts) {
      redact(text);
    }
  };
  for (CacheFile* file : {&state.document.file, &state.endpoints.file, &state.hosts.file}) {
    for (Fault& fault : file->faults) {
      redact(fault.member);
      redact(fault.what);
    }
  }
  redact(state.document.root_url);
  redact_all(state.document.fetch_urls);
  redact_all(state.document.links);
  redact_all(state.document.defaults);
  redact(state.endpoints.name);
  redact_all(state.endpoints.urls);
  for (HostState& host : state.hosts.hosts) {
    redact(host.name);
    redact_all(host.addresses);
  }
}

}  // namespace client_state
