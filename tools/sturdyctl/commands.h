#pragma once

#include <string>
#include <vector>

#include "tools/sturdyctl/client_options.h"

namespace sturdyctl {

// Each command returns the exit code of the process.
// Errors: UsageError, which main prints and turns into exit code 2.

// Prints `count` link addresses, each with its source: the list, the settings or a default. With
// `wait_for_update`, fails without a token, a URL of the family or a good fetch.
int RunLink(const ClientOptions& options, int count, bool wait_for_update, bool json);

// Prints the addresses of each name. Returns 1 if one of them has none.
int RunQueryHost(const ClientOptions& options, const std::vector<std::string>& names, bool json);

// Prints each fetch, change of the list, failure report and service update of HTTP DNS until
// Ctrl-C.
int RunWatch(const ClientOptions& options, bool json);

struct LogOptions {
  std::string folder;             // a data folder, a folder in it, or the log itself
  std::vector<std::string> tags;  // with or without brackets; empty: all messages
  std::string since;              // empty: from the begin
  std::string until;              // empty: to the end
  bool follow = false;
  bool redact = false;
};

// Prints the log of a client, including the lines in its buffer. With `follow`, goes on until
// Ctrl-C. Fails if no message has one of the tags.
int RunLog(const LogOptions& options);

struct WhyOptions {
  std::string folder;  // as that of LogOptions
  bool all = false;
  bool json = false;
  bool redact = false;
};

// Prints why the client got its last answer, or each.
int RunWhy(const WhyOptions& options);

struct StateOptions {
  std::string folder;  // a data folder, a folder in it, or the log in one
  bool json = false;
  bool redact = false;
};

// Prints what a client's caches hold.
int RunState(const StateOptions& options);

struct StatsOptions {
  std::string folder;  // as that of LogOptions
  bool json = false;
  bool redact = false;
};

// Prints counts of what a client did.
int RunStats(const StatsOptions& options);

// Writes what support needs of the client in `folder` into a new folder, without the key and the
// values of queries.
int RunBundle(const std::string& folder, const std::string& output);

struct TimelineOptions {
  std::string folder;  // as for the log
  std::string output;  // the path of the page
  std::string trace;   // the path of the trace; empty: none
  bool redact = false;
};

// Writes a page that shows what a client did and why.
int RunTimeline(const TimelineOptions& options);

// Plays a scenario file and prints each request until Ctrl-C.
int RunServe(const std::string& scenario_path);

// Shows a client whose servers fail, step by step. Returns 0 only if each step did what it says.
int RunDemo();

}  // namespace sturdyctl
