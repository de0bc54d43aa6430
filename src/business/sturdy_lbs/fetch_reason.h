#pragma once

namespace zo_sturdy {

// Why a fetch is asked for. The texts stand in the log.
enum class FetchReason { kStart, kUpdate, kToken, kNetwork, kThirdDefault, kDefaultTimer };

inline const char* TextOf(FetchReason reason) {
  switch (reason) {
    case FetchReason::kStart:
      return "start";
    case FetchReason::kUpdate:
      return "update";
    case FetchReason::kToken:
      return "token";
    case FetchReason::kNetwork:
      return "network";
    case FetchReason::kThirdDefault:
      return "third_default";
    case FetchReason::kDefaultTimer:
      break;
  }
  return "default_timer";
}

// True if defaults that were returned have caused the fetch.
inline bool IsByDefaults(FetchReason reason) {
  return reason == FetchReason::kThirdDefault || reason == FetchReason::kDefaultTimer;
}

}  // namespace zo_sturdy
