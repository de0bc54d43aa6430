#include "tools/sturdyctl/pages.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <vector>

#include "sturdy/sturdy.h"

namespace sturdyctl {

namespace {

std::vector<const CLI::Option*> Visible(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

std::vector<const CLI::App*> Commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

bool TakesValue(const CLI::Option& option) {
  return option.get_expected_min() > 0;
}

// Returns the spellings of an option, such as -h and --help. A positional argument has none.
std::vector<std::string> Spellings(const CLI::Option& option) {
  std::vector<std::string> all;
  for (const std::string& name : option.get_snames()) {
    all.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    all.push_back("--" + name);
  }
  return all;
}

std::string Join(const std::vector<std::string>& texts, const std::string& between) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : between) + text;
  }
  return joined;
}

// Escapes text for roff, where a line that begins with a dot or a quote is a request, and a bare
// minus is a hyphen.
std::string Roff(const std::string& text) {
  std::string out;
  bool line_begins = true;
  for (const char c : text) {
    if (line_begins && (c == '.' || c == '\'')) {
      out += "\\&";
    }
    line_begins = c == '\n';
    out += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  }
  return out;
}

void WriteOptions(std::ostream& out, const CLI::App& app) {
  for (const CLI::Option* option : Visible(app)) {
    std::vector<std::string> names = Spellings(*option);
    for (std::string& name : names) {
      name = "\\fB" + Roff(name) + "\\fR";
    }
    out << ".TP\n" << Join(names, ", ");
    if (names.empty()) {
      out << "\\fI" << Roff(option->get_name(true)) << "\\fR";
      if (option->get_expected_max() > 1) {
        out << " ...";
      }
    } else if (TakesValue(*option)) {
      out << " \\fI" << Roff(option->get_type_name()) << "\\fR";
    }
    out << "\n" << Roff(option->get_description()) << "\n";
  }
}

// Writes a text without filling, so that its lines stay as in --help.
void WriteVerbatim(std::ostream& out, const std::string& text) {
  if (!text.empty()) {
    out << ".PP\n.nf\n" << Roff(text) << "\n.fi\n";
  }
}

// Returns the words in the braces of a type such as TEXT:{any,v4,v6}, empty if it isn't a set.
std::string SetOf(const std::string& type) {
  const size_t begin = type.find('{');
  const size_t end = type.find('}');
  if (begin == std::string::npos || end == std::string::npos) {
    return "";
  }
  std::string words = type.substr(begin + 1, end - begin - 1);
  std::replace(words.begin(), words.end(), ',', ' ');
  return words;
}

// Returns the arguments of compgen that find the values of a type.
std::string Candidates(const std::string& type) {
  if (type == "DIR") {
    return "-d";
  }
  if (type == "FILE") {
    return "-f";
  }
  return "-W '" + SetOf(type) + "'";
}

// Writes lines of a case: the values of an option, by "command:option".
void WriteValueCases(std::ostream& out, const CLI::App& app, const std::string& command) {
  for (const CLI::Option* option : Visible(app)) {
    if (TakesValue(*option) && !option->get_positional()) {
      std::vector<std::string> names = Spellings(*option);
      for (std::string& name : names) {
        name.insert(0, command + ":");
      }
      out << "    " << Join(names, " | ") << ") candidates=\""
          << Candidates(option->get_type_name()) << "\" ;;\n";
    }
  }
}

// Writes a line of a case: options, subcommands and positional arguments of a command.
void WriteWordCase(std::ostream& out, const CLI::App& app, const std::string& command) {
  std::vector<std::string> words;
  std::string places;
  for (const CLI::Option* option : Visible(app)) {
    const std::vector<std::string> names = Spellings(*option);
    words.insert(words.end(), names.begin(), names.end());
    const std::string type = option->get_type_name();
    if (option->get_positional() && (type == "DIR" || type == "FILE")) {
      places = Candidates(type);
    }
  }
  for (const CLI::App* next : Commands(app)) {
    words.push_back(next->get_name());
  }
  out << "    " << command << ":*) candidates=\"-W '" << Join(words, " ") << "'\"";
  if (!places.empty()) {
    out << "; [[ $word == -* ]] || candidates=" << places;
  }
  out << " ;;\n";
}

}  // namespace

std::string ManPage(const CLI::App& app) {
  // The title, and a synopsis of each command.
  std::ostringstream out;
  const std::string name = Roff(app.get_name());
  out << ".TH STURDYCTL 1 \"\" \"sturdy_comp " << STURDY_VERSION_STRING << "\" \"User Commands\"\n"
      << ".SH NAME\n"
      << name << " \\- " << Roff(app.get_description()) << "\n.SH SYNOPSIS\n";
  for (const CLI::App* command : Commands(app)) {
    out << ".B " << name << " " << Roff(command->get_name()) << "\n[OPTIONS]";
    for (const CLI::Option* option : Visible(*command)) {
      if (option->get_positional()) {
        out << " \\fI" << Roff(option->get_name(true)) << "\\fR"
            << (option->get_expected_max() > 1 ? " ..." : "");
      }
    }
    out << "\n.br\n";
  }
  // The commands, the common options and the exit codes.
  out << ".SH COMMANDS\n";
  for (const CLI::App* command : Commands(app)) {
    out << ".SS " << Roff(command->get_name()) << "\n" << Roff(command->get_description()) << ".\n";
    WriteOptions(out, *command);
    WriteVerbatim(out, command->get_footer());
  }
  out << ".SH OPTIONS\n";
  WriteOptions(out, app);
  out << ".SH EXIT STATUS\n";
  WriteVerbatim(out, app.get_footer());
  return out.str();
}

std::string BashCompletion(const CLI::App& app) {
  // Find the command among the words typed so far.
  std::vector<std::string> names;
  for (const CLI::App* command : Commands(app)) {
    names.push_back(command->get_name());
  }
  std::ostringstream out;
  out << "# bash completion of " << app.get_name() << ", written by the program itself\n"
      << "_sturdyctl() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
         "  local command= candidates= i\n"
         "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
         "    case ${COMP_WORDS[i]} in\n"
         "      "
      << Join(names, " | ")
      << ") command=${COMP_WORDS[i]}; break ;;\n"
         "    esac\n"
         "  done\n"
         "  case $command:$before in\n";
  // Choose the candidates: values after an option that takes one, else options and arguments.
  for (const CLI::App* command : Commands(app)) {
    WriteValueCases(out, *command, command->get_name());
  }
  WriteWordCase(out, app, "");
  for (const CLI::App* command : Commands(app)) {
    WriteWordCase(out, *command, command->get_name());
  }
  // Complete the word.
  out << "  esac\n"
         "  # A folder's name continues after its slash. compopt fails outside a completion.\n"
         "  [[ $candidates == -[df] ]] && compopt -o filenames 2>/dev/null\n"
         "  eval \"mapfile -t COMPREPLY < <(compgen $candidates -- \\\"\\$word\\\")\"\n"
         "}\n"
         "complete -F _sturdyctl "
      << app.get_name() << "\n";
  return out.str();
}

void AddPageOptions(CLI::App& app) {
  app.set_version_flag("--version", STURDY_VERSION_STRING, "Print the version and exit");
  const auto hidden = [&app](const std::string& name, std::string (*page)(const CLI::App&)) {
    // CLI11 prints the text of this exception, and the program exits with 0.
    app.add_flag_callback(name, [&app, page] { throw CLI::CallForVersion(page(app), 0); })
        ->group("");
  };
  hidden("--man", &ManPage);
  hidden("--bash-completion", &BashCompletion);
}

}  // namespace sturdyctl
