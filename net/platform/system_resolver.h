#pragma once

#include <string>

#include "net/platform/resolver.h"

// The system's own resolver, which only resolver.cpp calls.
// Threads: any. AskSystem blocks until the system answers.
namespace net {

// Sets `list`, which is empty before, to the addresses of `host` for stream sockets. Returns 0, or
// the system's code; `list` stays empty then. An empty host, and one with a NUL, has no address.
int AskSystem(const std::string& host, bool wants_canonical_name, AddressFamily family,
              ResolvedAddressList& list);

// Translates a code of AskSystem other than 0.
ResolveError ResolveErrorOf(int system_error);

}  // namespace net
