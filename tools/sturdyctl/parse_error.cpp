#include "tools/sturdyctl/parse_error.h"

#include <CLI/CLI.hpp>
#include <vector>

namespace sturdyctl {

std::string ParseErrorText(const CLI::App& app, const CLI::ParseError& error) {
  // Name the first word that neither the program nor the command knows.
  const std::vector<CLI::App*> commands = app.get_subcommands();
  const std::string command = commands.empty() ? "" : commands.front()->get_name();
  const std::string help = "; see sturdyctl " + command + (command.empty() ? "" : " ") + "--help.";
  if (const std::vector<std::string> words = app.remaining(true); !words.empty()) {
    const std::string word = "\"" + words.front() + "\"";
    if (words.front().starts_with("-")) {
      return "there is no option " + word + help;
    }
    return (command.empty() ? "there is no command " : command + " doesn't take ") + word + help;
  }
  if (command.empty()) {
    return "give a command" + help;
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
  return text + ".";
}

}  // namespace sturdyctl
