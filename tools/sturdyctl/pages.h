#pragma once

#include <string>

namespace CLI {
class App;
}

namespace sturdyctl {

// Return the manual page (roff) and the bash completion. Both come from the definitions that --help
// shows, so the three agree. A value of type DIR or FILE completes to a path, one of a set to its
// members.
std::string ManPage(const CLI::App& app);
std::string BashCompletion(const CLI::App& app);

// Adds --version and the hidden options that print the pages during the build.
void AddPageOptions(CLI::App& app);

}  // namespace sturdyctl
