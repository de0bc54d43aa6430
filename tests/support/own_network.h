#pragma once

#include <cstdint>
#include <string>

// Gives the process its own mounts and its own network, which has only a loopback that is up.
// Returns false if the user may not have them.
bool EnterOwnNetwork();

// Shows `text` in place of the file at `path`, to this process alone. Keeps the text in `folder`.
// Requires: EnterOwnNetwork. Returns false on failure.
bool ReplaceFile(const std::string& path, const std::string& text, const std::string& folder);

// Binds a socket of `type` on all addresses of both families. Returns -1 on failure.
// Owner: the caller.
int BindAllAddresses(int type, uint16_t port);
