#include "tools/history/redact_history.h"

#include <string>
#include <vector>

#include "tools/redactor/redact_messages.h"

namespace history {

void RedactHistory(redactor::Redactor& redactor, History& history) {
  redactor::RedactMessages(redactor, history.messages);
  const auto redact = [&](std::string& text) { text = redactor.Redact(text); };
  const auto redact_all = [&](std::vector<std::string>& texts) {
    for (std::string& text : texts) {
      redact(text);
    }
  };
  for (Run& run : history.runs) {
    redact(run.settings);
    redact(run.service_settings);
  }
  for (Fetch& fetch : history.fetches) {
    redact_all(fetch.names);
    for (Try& one : fetch.tries) {
      redact(one.url);
      redact(one.host);
    }
  }
  for (Document& document : history.documents) {
    redact(document.text);
    redact_all(document.links);
    redact_all(document.defaults);
  }
  for (Answer& answer : history.answers) {
    redact(answer.host);
  }
  for (Hold& hold : history.holds) {
    redact(hold.address);
  }
  for (Lease& lease : history.leases) {
    redact(lease.host);
    redact_all(lease.addresses);
  }
  for (HostLook& look : history.host_looks) {
    redact(look.host);
    redact_all(look.addresses);
  }
}

}  // namespace history
