#include "tools/history/redact_history.h"

#include <string>
#include <vector>

#include "tools/redactor/redact_messages.h"

namespace history {

void RedactHistory(redactor::Redactor& redactor, History& history) {
  redactor::RedactMessages(redactor, history.messages);
  const auto redact = [&](std::string& text) { text = redactor.Redact(text); };
  for (Run& run : history.runs) {
    redact(run.settings);
    redact(run.service_settings);
  }
  for (Fetch& fetch : history.fetches) {
    redactor.RedactAll(fetch.names);
    for (Try& one : fetch.tries) {
      redact(one.url);
      redact(one.host);
      redact(one.cause);
    }
  }
  for (Document& document : history.documents) {
    redact(document.cache_refusal);
    redact(document.text);
    redactor.RedactAll(document.links);
    redactor.RedactAll(document.defaults);
  }
  for (Answer& answer : history.answers) {
    redact(answer.host);
  }
  for (Hold& hold : history.holds) {
    redact(hold.address);
  }
  for (Change& change : history.changes) {
    redact(change.value);
  }
  for (Lease& lease : history.leases) {
    redact(lease.host);
    redactor.RedactAll(lease.addresses);
  }
  for (HostLook& look : history.host_looks) {
    redact(look.host);
    redactor.RedactAll(look.addresses);
  }
}

}  // namespace history
