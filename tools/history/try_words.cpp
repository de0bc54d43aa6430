#include "tools/history/try_words.h"

#include <algorithm>
#include <array>
#include <utility>

namespace history {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 18> kCauses = {{
    {"bad_url", "the URL, or one that it redirects to, can't be asked"},
    {"name_not_resolved", "no address was found for its name"},
    {"refused", "the server refused the connection"},
    {"unreachable", "no network route leads to the server"},
    {"connect_timeout", "the server didn't accept the connection in time"},
    {"tls_failed", "the TLS handshake failed"},
    {"send_failed", "the server didn't take the request"},
    {"head_timeout",
     "the server took the request, but the head of its answer wasn't complete in time"},
    {"read_timeout", "the answer began and then stopped for too long"},
    {"reset", "the server closed the connection without an answer"},
    {"cut_short", "the connection ended within the answer"},
    {"too_large", "the answer was too large"},
    {"too_long", "the whole transfer took too long"},
    {"too_many_redirects", "the server redirected too often"},
    {"malformed", "the answer was no HTTP"},
    {"shut_down", "the process was exiting"},
    {"out_of_memory", "the process had no memory, thread or descriptor left"},
    {"not_available",
     "the system's HTTP library couldn't be loaded, or lacks what a transfer needs"},
}};

std::string Ms(int64_t from_ms, int64_t to_ms) {
  return std::to_string(to_ms - from_ms) + " ms";
}

std::string FailureWords(const Try& one) {
  if (one.cause.empty()) {
    return ", and the log doesn't say why";
  }
  const std::string_view words = CauseWords(one.cause);
  return words.empty() ? ": " + one.cause : ": " + std::string(words) + " (" + one.cause + ")";
}

std::string LaterFailureWords(const Try& one, const std::string& after) {
  return one.cause.empty() ? "" : ". It failed" + after + FailureWords(one);
}

std::string EndWords(const Try& one) {
  const std::string after = one.end_ms ? " after " + Ms(one.begin_ms, *one.end_ms) : "";
  switch (one.outcome) {
    case TryOutcome::kTaken:
      return "gave a good answer" + after;
    case TryOutcome::kBadStatus:
      return "answered with status " + std::to_string(one.status) + after;
    case TryOutcome::kBadDocument:
      return "answered" + after + ", but with a body that can't be used";
    case TryOutcome::kFailed:
      return "failed" + after + FailureWords(one);
    case TryOutcome::kLate:
      return "had given no answer when another URL gave one" + LaterFailureWords(one, after);
    case TryOutcome::kDropped:
      if (one.end_ms && one.cause.empty()) {
        return "answered" + after + ", but the answer was ignored";
      }
      return "wasn't waited for any longer" + LaterFailureWords(one, after);
    case TryOutcome::kUnderWay:
      break;
  }
  return "had given no answer yet";
}

}  // namespace

std::string_view CauseWords(std::string_view cause) {
  const auto* const found = std::find_if(kCauses.begin(), kCauses.end(),
                                         [&](const auto& one) { return one.first == cause; });
  return found == kCauses.end() ? std::string_view() : found->second;
}

std::string ShortUrl(std::string_view url) {
  return std::string(url.substr(0, url.find_first_of("?#")));
}

std::string TryWords(const Try& one) {
  std::string words = "URL " + std::to_string(one.index) + " " + ShortUrl(one.url);
  if (one.pass == 2) {
    words += " (an address of " + (one.host.empty() ? "its host" : one.host) + " from HTTP DNS)";
  }
  if (one.silent_ms) {
    words += " was silent for " + Ms(one.begin_ms, *one.silent_ms) + ", so URL " +
             std::to_string(one.index + 1) + " was asked too. It";
  }
  words += " " + EndWords(one);
  if (one.is_unsure) {
    words += ". The log fits another request's URL of this number too";
  }
  return words;
}

std::string RefusalWords(const std::string& refusal) {
  if (refusal == "other_url") {
    return "the cache was fetched with another first LBS URL";
  }
  if (refusal == "other_family") {
    return "the cache was fetched for another address family";
  }
  return "the cache was " + refusal;
}

std::string HoldWords(const Hold& hold) {
  if (hold.is_found) {
    return "it is in the list";
  }
  return hold.has_high_port ? "its port is above 32767, so it can't be held"
                            : "it isn't in the list";
}

std::string ReasonWords(AskedBecause reason) {
  switch (reason) {
    case AskedBecause::kStart:
      return "the service started";
    case AskedBecause::kUpdate:
      return "the client called Update";
    case AskedBecause::kToken:
      return "the token changed";
    case AskedBecause::kNetwork:
      return "the network changed";
    case AskedBecause::kThirdDefault:
      return "the client had got three defaults";
    case AskedBecause::kDefaultTimer:
      return "the client had got a default 1200 ms before";
    case AskedBecause::kSecondPass:
      return "a failed request needed addresses";
    case AskedBecause::kOther:
      break;
  }
  return "of something that the log doesn't say";
}

}  // namespace history
