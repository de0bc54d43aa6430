#pragma once

#include <cstdint>
#include <string>

// Returns what belongs to the host: its locale, its folder, and on Linux its handling of SIGPIPE.
std::string HostState();

// Count what this process has: its threads; its descriptors, or handles on Windows; the bytes that
// it has taken from the heap and not given back.
int64_t CountThreads();
int64_t CountHandles();
int64_t CountHeapBytes();

// Whether the process has a thread of this name. Linux keeps 15 characters of a name. Not on
// Windows, which tells names to debuggers alone.
bool HasThread(const std::string& name);
