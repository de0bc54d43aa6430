#include "tools/state/state_words.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <optional>
#include <vector>

#include "base/platform/local_time.h"
#include "tools/duration_words.h"

namespace client_state {

namespace {

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : ", ") + text;
  }
  return joined.empty() ? "none" : joined;
}

std::string Line(const std::string& text) {
  return "  " + text + "\n";
}

std::string FaultWords(const Fault& fault) {
  if (!fault.offset) {
    return fault.member + ": " + fault.what;
  }
  return (fault.member.empty() ? "damaged" : fault.member + " is damaged") + " at byte " +
         std::to_string(*fault.offset) + ": " + fault.what;
}

// Returns the heading of a file, and what is wrong with it.
std::string FileWords(const std::string& heading, const CacheFile& file) {
  std::string words = "\n" + heading + "  " + file.path + "\n";
  switch (file.condition) {
    case CacheFile::Condition::kMissing:
      words += Line("The file is missing.");
      break;
    case CacheFile::Condition::kUnreadable:
      words += Line("The file can't be opened.");
      break;
    case CacheFile::Condition::kEmpty:
      words += Line("The file is empty.");
      break;
    case CacheFile::Condition::kDamaged:
      words += Line("The file is damaged and counts as empty.");
      break;
    case CacheFile::Condition::kGood:
      break;
  }
  for (const Fault& fault : file.faults) {
    words += Line(FaultWords(fault));
  }
  return words;
}

std::string FetchedWords(std::optional<int64_t> fetched_ms, int64_t now_ms) {
  if (!fetched_ms) {
    return "never: built from settings, or of an older version";
  }
  const int64_t age_ms = now_ms - *fetched_ms;
  return age_ms < 0 ? "by a clock that was " + DurationWords(-age_ms) + " ahead of this one"
                    : DurationWords(age_ms) + " ago";
}

std::string DocumentWords(const DocumentState& state, int64_t now_ms) {
  std::string words = FileWords("Document", state.file);
  if (!state.is_usable) {
    words += Line("A start ignores it and uses the client's settings.");
  }
  if (state.file.condition != CacheFile::Condition::kGood) {
    return words;
  }
  words += Line("fetched        " + FetchedWords(state.fetched_ms, now_ms));
  words += Line("counts for     first LBS URL " + state.root_url + ", family " +
                FamilyText(state.family));
  words += Line("link servers   " + Joined(state.links));
  words += Line("defaults       " + Joined(state.defaults));
  for (size_t i = 0; i < state.fetch_urls.size(); ++i) {
    words += Line((i == 0 ? "next fetch     " : "  then         ") +
                  (state.fetch_urls[i].empty() ? "none" : state.fetch_urls[i]));
  }
  return words;
}

std::string EndpointsWords(const EndpointsState& state, int64_t now_ms) {
  std::string words = FileWords("HTTP DNS endpoints", state.file);
  if (!state.is_usable) {
    return words + Line("A start uses the built-in endpoints.");
  }
  const int64_t left_ms = state.expired_ms - now_ms;
  words += Line("name           " + state.name);
  words += Line("lifetime       " + DurationWords(state.ttl_ms) + ", " +
                (left_ms > 0 ? DurationWords(left_ms) + " left"
                             : "ended " + DurationWords(-left_ms) + " ago; a start asks at once"));
  for (size_t i = 0; i < state.urls.size(); ++i) {
    words += Line((i == 0 ? "asks           " : "  then         ") + state.urls[i]);
  }
  return words;
}

std::string HostWords(const HostState& host, int64_t now_ms) {
  std::string words = host.name + "  " + TextOf(host.kind);
  if (host.kind == HostState::Kind::kFresh) {
    words += " for " + DurationWords(host.stale_ms - now_ms);
  } else if (host.kind == HostState::Kind::kStale) {
    words +=
        ", served for " + DurationWords(host.gone_ms - now_ms) + " and refreshed when asked for";
  } else if (host.gone_ms <= now_ms) {
    words += " since " + DurationWords(now_ms - host.gone_ms);
  }
  return words + ": " + Joined(host.addresses);
}

std::string HostsWords(const HostsState& state, int64_t now_ms) {
  std::string words = FileWords("Host names", state.file);
  for (const HostState& host : state.hosts) {
    words += Line(HostWords(host, now_ms));
  }
  if (!state.hosts.empty()) {
    words +=
        Line("A start serves each that has an address for 2.7 s at least, also if it is gone.");
  }
  return words;
}

// Says which time the ages count from: the words may be read later and elsewhere.
std::string ReadWords(int64_t now_ms) {
  const std::tm local = zo_base::LocalTime(now_ms / 1000);
  // Computed, since not every system's strftime knows how to print it.
  const std::chrono::sys_days day = std::chrono::year(local.tm_year + 1900) /
                                    std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)) /
                                    std::chrono::day(static_cast<unsigned>(local.tm_mday));
  const std::chrono::sys_seconds shown = day + std::chrono::hours(local.tm_hour) +
                                         std::chrono::minutes(local.tm_min) +
                                         std::chrono::seconds(local.tm_sec);
  const int64_t minutes_east = (shown.time_since_epoch().count() - now_ms / 1000) / 60;
  const int64_t size = minutes_east < 0 ? -minutes_east : minutes_east;
  std::array<char, 64> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  std::array<char, 16> zone{};
  std::snprintf(zone.data(), zone.size(), " %c%02d%02d", minutes_east < 0 ? '-' : '+',
                static_cast<int>(size / 60), static_cast<int>(size % 60));
  return std::string("  read at ") + text.data() + zone.data() + "\n";
}

}  // namespace

std::string StateWords(const ClientState& state) {
  return state.folder + ReadWords(state.now_ms) + DocumentWords(state.document, state.now_ms) +
         EndpointsWords(state.endpoints, state.now_ms) + HostsWords(state.hosts, state.now_ms);
}

}  // namespace client_state
