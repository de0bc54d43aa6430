#pragma once

#include <string>

namespace CLI {
class App;
}

namespace sturdyctl {

// The manual page (roff) and the bash completion, written from the same definitions of commands and
// options that --help shows, so that none can say what the others don't. A value of type DIR or
// FILE is completed as one, and one of a set from its set.
std::string ManPage(const CLI::App& app);
std::string BashCompletion(const CLI::App& app);

// Adds the options that print them (hidden, for the build) and --version.
void AddPageOptions(CLI::App& app);

}  // namespace sturdyctl
