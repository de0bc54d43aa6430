#pragma once

#include <cstdint>
#include <string>

// Gives the process a network and mounts of its own: nothing but a loopback that is up.
// False if the user may not have them.
bool EnterOwnNetwork();

// Shows `text` in place of the file at `path`, to this process alone; `folder` keeps it.
// Requires: EnterOwnNetwork. False if it can't be done.
bool ReplaceFile(const std::string& path, const std::string& text, const std::string& folder);

// A socket of `type` on all loopback addresses of both families; -1 if there can be none.
// Owner: the caller.
int BindLoopback(int type, uint16_t port);
