#include "tools/history/history.h"

#include <array>

namespace history {

const char* TextOf(Kind kind) {
  constexpr std::array kTexts = {"lbs", "service", "hosts", "report"};
  return kTexts.at(static_cast<size_t>(kind));
}

const char* TextOf(AskedBecause reason) {
  constexpr std::array kTexts = {"start",         "update",        "token",       "network",
                                 "third_default", "default_timer", "second_pass", "other"};
  return kTexts.at(static_cast<size_t>(reason));
}

const char* TextOf(FetchOutcome outcome) {
  constexpr std::array kTexts = {"taken", "failed", "superseded", "under_way"};
  return kTexts.at(static_cast<size_t>(outcome));
}

const char* TextOf(TryOutcome outcome) {
  constexpr std::array kTexts = {"taken", "bad_status", "bad_document", "failed",
                                 "late",  "dropped",    "under_way"};
  return kTexts.at(static_cast<size_t>(outcome));
}

const char* TextOf(StartedBecause reason) {
  constexpr std::array kTexts = {"first", "silence", "failure"};
  return kTexts.at(static_cast<size_t>(reason));
}

const char* TextOf(Document::From from) {
  constexpr std::array kTexts = {"", "fetch", "cache", "settings"};
  return kTexts.at(static_cast<size_t>(from));
}

}  // namespace history
