#include "tools/redactor/redact_messages.h"

namespace redactor {

void RedactMessages(Redactor& redactor, std::vector<log_reader::LogMessage>& messages) {
  for (const log_reader::LogMessage& message : messages) {
    redactor.Learn(message.text);
  }
  for (log_reader::LogMessage& message : messages) {
    const bool is_cut = message.level == "cut";
    message.text = is_cut ? redactor.RedactCut(message.text) : redactor.Redact(message.text);
    message.bytes = is_cut ? redactor.RedactCut(message.bytes) : redactor.Redact(message.bytes);
  }
}

}  // namespace redactor
