#pragma once

#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace sturdyctl {

// Returns why the command line of `app` is invalid, as one sentence for the user.
std::string ParseErrorText(const CLI::App& app, const CLI::ParseError& error);

}  // namespace sturdyctl
