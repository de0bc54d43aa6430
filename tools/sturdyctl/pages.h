#pragma once

#include <string>

namespace CLI {
class App;
}

namespace sturdyctl {

// The manual page and the bash completion, which the build writes by running the program.
// Threads: the main thread's, before any command runs.
// Errors:  none. The hidden options end the parse by an exception, see AddPageOptions.

// Return the manual page (roff) and the bash completion. Both come from the definitions that --help
// shows, so the three agree. A value of type DIR or FILE completes to a path, one of a set to its
// members.
std::string ManPage(const CLI::App& app);
std::string BashCompletion(const CLI::App& app);

// Adds --version and the hidden options that print the pages, --man and --bash-completion. Each
// ends the parse with a CLI::CallForVersion, as --version does: CLI::App::exit prints its text and
// returns 0.
void AddPageOptions(CLI::App& app);

}  // namespace sturdyctl
