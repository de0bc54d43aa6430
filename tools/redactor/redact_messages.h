#pragma once

#include <vector>

#include "tools/log_reader/log_message.h"
#include "tools/redactor/redactor.h"

namespace redactor {

// Redacts messages of one log, in their order. A key that a later one shows is hidden in all.
void RedactMessages(Redactor& redactor, std::vector<log_reader::LogMessage>& messages);

}  // namespace redactor
