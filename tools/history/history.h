#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/log_reader/log_message.h"

// What a client did, as its log tells it. Plain values, for one thread at a time. A number of type
// size_t is a place in one of the lists of History.
//
// Times are the log's, in ms. The log has no year and no zone, so they count from the begin of the
// year of the first line; TimeText turns one back into the log's text. They follow the wall clock,
// which may jump.
namespace history {

enum class Kind { kLbs, kService, kHosts, kReport };

enum class AskedBecause {
  kStart,
  kUpdate,
  kToken,
  kNetwork,
  kThirdDefault,
  kDefaultTimer,
  kSecondPass,  // a failed request wants addresses
  kOther,       // none of these, or an older log doesn't say
};

enum class FetchOutcome { kTaken, kFailed, kSuperseded, kUnderWay };

enum class TryOutcome {
  kTaken,
  kBadStatus,
  kBadDocument,  // its body can't be used
  kFailed,       // no status; `cause` says why
  kLate,  // was silent for so long that the next URL was asked, and another answer ended the fetch
  kDropped,   // in flight when the fetch ended, or its answer was ignored
  kUnderWay,  // in flight at the end of the log, or when the process ended
};

enum class StartedBecause { kFirst, kSilence, kFailure };

// One URL that was asked.
struct Try {
  int index = 0;     // of the URL in its pass
  int pass = 1;      // 2: at an address from HTTP DNS
  std::string url;   // as sent, query included
  std::string host;  // the name that was presented; empty: the URL's own
  int64_t begin_ms = 0;
  std::optional<int64_t> silent_ms;  // when the silence was noticed, and the next URL was asked
  std::optional<int64_t> end_ms;     // when the answer or the failure came
  TryOutcome outcome = TryOutcome::kUnderWay;
  int status = 0;     // of the answer; 0: none
  std::string cause;  // of the failure, a word such as "refused"; empty in an older log
  StartedBecause started_because = StartedBecause::kFirst;
  std::optional<size_t> started_by;  // the try of this fetch whose silence or failure it was
  bool is_unsure = false;            // another request could be the one that the lines are about
  std::vector<size_t> messages;      // the lines about it
};

// One request over several URLs, second pass included.
struct Fetch {
  Kind kind = Kind::kLbs;
  AskedBecause asked_because = AskedBecause::kOther;
  std::optional<size_t> ask;      // of an LBS fetch
  std::optional<int64_t> number;  // the service's, of an LBS fetch
  size_t run = 0;
  int64_t begin_ms = 0;  // when it was asked for
  std::optional<int64_t> end_ms;
  FetchOutcome outcome = FetchOutcome::kUnderWay;
  std::vector<Try> tries;             // in the order in which they began
  std::optional<size_t> taken;        // the try whose answer was taken
  std::vector<std::string> names;     // the hosts that HTTP DNS was asked for, for the second pass
  bool has_no_addresses = false;      // HTTP DNS gave none, so there was no second pass
  std::optional<size_t> hosts_fetch;  // which then asked HTTP DNS; none: the log has no request
  std::vector<size_t> messages;       // the lines about the fetch, without those about one try
};

// A wish for an LBS fetch.
struct Ask {
  enum class Fate {
    kUnknown,
    kFetched,
    kUnderWay,  // dropped, since another fetch was under way
    kTooSoon,   // dropped, since a fetch for defaults had just ended
    kNoUrl,     // no URL was of the wanted family
  };
  int64_t at_ms = 0;
  size_t run = 0;
  AskedBecause because = AskedBecause::kOther;
  std::optional<int64_t> number;
  Fate fate = Fate::kUnknown;
  std::optional<size_t> fetch;
  size_t message = 0;
};

// A document that became active.
struct Document {
  enum class From { kUnknown, kFetch, kCache, kSettings };
  int64_t at_ms = 0;
  size_t run = 0;
  From from = From::kUnknown;
  std::optional<size_t> fetch;
  std::optional<int64_t> cache_age_ms;  // since its fetch; none: an earlier start made it
  std::string cache_refusal;            // why the settings count: "missing", "other_url" ...
  std::string text;
  std::vector<std::string> links;
  std::vector<std::string> defaults;
  size_t message = 0;  // with the text, if the log has it
};

// An address that the client got.
struct Answer {
  int64_t at_ms = 0;
  size_t run = 0;
  uint32_t thread_id = 0;
  int family = 0;    // as asked: 0 any, 1 IPv4, 2 IPv6
  std::string host;  // IPv6 in brackets
  int port = 0;
  bool is_default = false;
  std::optional<size_t> document;  // the active one
  size_t message = 0;
};

struct Hold {
  int64_t at_ms = 0;
  size_t run = 0;
  std::string address;
  bool is_found = false;
  bool has_high_port = false;  // above 32767: the call that holds can't find it
  size_t message = 0;
};

// A call of the client that changes the token or the network.
struct Change {
  enum class What { kToken, kNetwork };
  int64_t at_ms = 0;
  size_t run = 0;
  What what = What::kToken;
  std::string value;  // "set" or "none", or the number of the family
  size_t message = 0;
};

// What HTTP DNS knows from an answer. Of its own endpoints, `host` is empty.
struct Lease {
  int64_t at_ms = 0;
  size_t run = 0;
  std::string host;
  int64_t ttl_ms = 0;
  std::vector<std::string> addresses;
  size_t message = 0;
};

// A look into the cache of HTTP DNS.
struct HostLook {
  enum class State { kFresh = 1, kStale = 2, kMissing = 3 };
  int64_t at_ms = 0;
  size_t run = 0;
  std::string host;
  State state = State::kMissing;
  std::vector<std::string> addresses;
  size_t message = 0;
};

// One life of an environment, from its start to its exit or to the end of its process.
struct Run {
  uint32_t process_id = 0;
  std::optional<int64_t> begin_ms;  // none: the log begins within the run
  std::optional<int64_t> exit_ms;   // none: it ended without an exit, or still runs
  int64_t last_ms = 0;              // of its last line
  std::string settings;             // "version:0.1.0 business:..." of the start
  std::string service_settings;     // "enable:true ..." of the LBS service
};

struct History {
  std::vector<log_reader::LogMessage> messages;
  std::vector<Run> runs;
  std::vector<Ask> asks;
  std::vector<Fetch> fetches;  // in the order in which they were sent
  std::vector<Document> documents;
  std::vector<Answer> answers;
  std::vector<Hold> holds;
  std::vector<Change> changes;
  std::vector<Lease> leases;
  std::vector<HostLook> host_looks;
};

// The words of the JSON form.
const char* TextOf(Kind kind);
const char* TextOf(AskedBecause reason);
const char* TextOf(FetchOutcome outcome);
const char* TextOf(TryOutcome outcome);
const char* TextOf(StartedBecause reason);
const char* TextOf(Document::From from);  // "" for kUnknown

// Returns "03-14 15:09:26.535".
std::string TimeText(int64_t at_ms);

}  // namespace history
