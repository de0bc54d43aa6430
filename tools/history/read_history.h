#pragma once

#include <vector>

#include "tools/history/history.h"
#include "tools/log_reader/log_message.h"

namespace history {

// Reads what the client did from the messages of its log, in their order. Any messages have a
// result: what a torn, cut or older log lacks is left out of it or marked as unsure. Nothing is
// guessed.
History ReadHistory(std::vector<log_reader::LogMessage> messages);

}  // namespace history
