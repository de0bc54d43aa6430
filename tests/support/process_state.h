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
