#include "tools/state/client_state.h"

namespace client_state {

const char* TextOf(CacheFile::Condition condition) {
  switch (condition) {
    case CacheFile::Condition::kMissing:
      return "missing";
    case CacheFile::Condition::kUnreadable:
      return "unreadable";
    case CacheFile::Condition::kEmpty:
      return "empty";
    case CacheFile::Condition::kDamaged:
      return "damaged";
    case CacheFile::Condition::kGood:
      break;
  }
  return "good";
}

const char* TextOf(HostState::Kind kind) {
  switch (kind) {
    case HostState::Kind::kFresh:
      return "fresh";
    case HostState::Kind::kStale:
      return "stale";
    case HostState::Kind::kGone:
      break;
  }
  return "gone";
}

const char* FamilyText(int family) {
  constexpr int kV4 = 1;
  constexpr int kV6 = 2;
  return family == kV4 ? "v4" : family == kV6 ? "v6" : "any";
}

}  // namespace client_state
