#pragma once

#include <string>
#include <vector>

// Threads: one.
namespace platform {

// Call it first in main, with its arguments. Returns them in UTF-8, without the program's name.
// From then on the program's output is the same bytes on each system, and a console shows them as
// UTF-8.
std::vector<std::string> StartProgram(int argc, char** argv);

// Returns the path of the program that runs.
std::string ThisProgram();

// Returns the system's name, version and processor, for a report to support.
std::string SystemName();

}  // namespace platform
