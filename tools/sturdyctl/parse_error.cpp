#include "tools/sturdyctl/parse_error.h"

#include <CLI/CLI.hpp>
#include <vector>

namespace sturdyctl {

std::string ParseErrorText(const CLI::App& app, const CLI::ParseError& error) {
  // Without a command, name the first word that should be one.
  if (app.get_subcommands().empty()) {
    const std::vector<std::string> words = app.remaining();
    if (!words.empty()) {
      const char* kind = words.front().starts_with("-") ? "option" : "command";
      return std::string("there is no ") + kind + " \"" + words.front() +
             "\"; see sturdyctl --help.";
    }
    return "give a command; see sturdyctl --help.";
  }
  // Replace the texts that only the parser's author understands. They begin with the option.
  std::string text = error.what();
  const std::string option = text.substr(0, text.find(':'));
  const std::string rest = text.substr(option.size());
  if (rest.starts_with(": At Most 1 required but received")) {
    return option + " can be given at most once.";
  }
  if (rest.starts_with(": 1 required ") && rest.ends_with(" missing")) {
    return option + " needs a value.";
  }
  return text;
}

}  // namespace sturdyctl
