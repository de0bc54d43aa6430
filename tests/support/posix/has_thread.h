#pragma once

#include <string>

// Returns whether the process has a thread of this name. Linux keeps 15 characters of a name.
// Windows tells names to debuggers alone.
bool HasThread(const std::string& name);
