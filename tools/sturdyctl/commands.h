#pragma once

#include <string>
#include <vector>

#include "tools/sturdyctl/client_options.h"

namespace sturdyctl {

// Each command returns the exit code of the process. UsageError leaves with a sentence and 2.

// Prints `count` link addresses, each with whether it came from the list or is a default.
int RunLink(const ClientOptions& options, int count, bool wait_for_update, bool json);

// Prints the addresses of each name; 1 if one of them has none.
int RunQueryHost(const ClientOptions& options, const std::vector<std::string>& names, bool json);

// Prints each update, each report of failures, each update of the HTTP DNS service's table and each
// change of the list until Ctrl-C.
int RunWatch(const ClientOptions& options, bool json);

struct LogOptions {
  std::string folder;             // a data folder, one nearer to the log, or the log itself
  std::vector<std::string> tags;  // with or without brackets; none: all messages
  std::string since;
  bool follow = false;
};

// Prints the log of a client, the newest lines from its buffer; with `follow` until Ctrl-C.
int RunLog(const LogOptions& options);

// Plays a scenario file and prints each request until Ctrl-C.
int RunServe(const std::string& scenario_path);

// Tells the story of a client whose servers fail; 0 only if each step came out as told.
int RunDemo();

}  // namespace sturdyctl
