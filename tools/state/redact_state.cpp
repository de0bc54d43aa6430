#include "tools/state/redact_state.h"

namespace client_state {

void RedactState(const redactor::Redactor& redactor, ClientState& state) {
  const auto redact = [&](std::string& text) { text = redactor.Redact(text); };
  for (CacheFile* file : {&state.document.file, &state.endpoints.file, &state.hosts.file}) {
    for (Fault& fault : file->faults) {
      redact(fault.member);
      redact(fault.what);
    }
  }
  redact(state.document.root_url);
  redactor.RedactAll(state.document.fetch_urls);
  redactor.RedactAll(state.document.links);
  redactor.RedactAll(state.document.defaults);
  redact(state.endpoints.name);
  redactor.RedactAll(state.endpoints.urls);
  for (HostState& host : state.hosts.hosts) {
    redact(host.name);
    redactor.RedactAll(host.addresses);
  }
}

}  // namespace client_state
