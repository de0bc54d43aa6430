#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/platform/program.h"
#include "tools/sturdyctl/client_options.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/pages.h"
#include "tools/sturdyctl/parse_error.h"
#include "tools/sturdyctl/usage_error.h"

namespace {

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 the command line or a file that it names is invalid.";

constexpr char kFolderOrLog[] = "Data folder of the client, or a log in it";
constexpr char kRedact[] =
    "Write [redacted] for the application's key and for the values of queries, tokens and such";

// The command that the command line chooses. Returns the exit code.
using Command = std::function<int()>;

// Each function below adds one command. Parsing its arguments sets `chosen`.

void AddLink(CLI::App& app, Command& chosen) {
  struct Arguments {
    sturdyctl::ClientOptions options;
    int count = 1;
    bool wait = false;
    bool json = false;
  };
  const auto given = std::make_shared<Arguments>();
  CLI::App* link = app.add_subcommand(
      "link", "Print link addresses, each from the list, the settings or a default");
  link->add_option("--count", given->count, "Number of addresses")->check(CLI::Range(1, 100000));
  link->add_flag("--wait", given->wait,
                 "Wait for the end of the first fetch; end with 1 if it fails or none is made");
  link->add_flag("--json", given->json, "Print one JSON object");
  given->options.AddTo(*link);
  link->footer(
      "JSON: {\"links\": [{\"host\", \"port\", \"family\": any|v4|v6, \"source\":\n"
      "       list|settings|default, \"after_ms\"}], \"list\": [\"host:port\"], \"log\": path}\n" +
      std::string(kExitCodes));
  link->callback([given, &chosen] {
    chosen = [given] {
      return sturdyctl::RunLink(given->options, given->count, given->wait, given->json);
    };
  });
}

void AddQueryHost(CLI::App& app, Command& chosen) {
  struct Arguments {
    sturdyctl::ClientOptions options;
    std::vector<std::string> names;
    bool json = false;
  };
  const auto given = std::make_shared<Arguments>();
  CLI::App* query = app.add_subcommand("query-host", "Resolve host names through HTTP DNS");
  query->add_option("NAME", given->names, "Host name")->required();
  query->add_flag("--json", given->json, "Print one JSON object");
  given->options.AddEnvironmentTo(*query);
  query->footer(
      "JSON: {\"hosts\": [{\"host\", \"code\": 200, or 1 if it isn't resolved or is an address,\n"
      "       \"ipv4\": [address], \"ipv6\": [\"[address]\"]}], \"log\": path}\n"
      "Exit codes: 0 every name has an address, 1 some name has none or the query failed,\n"
      "            2 the command line is invalid.");
  query->callback([given, &chosen] {
    chosen = [given] { return sturdyctl::RunQueryHost(given->options, given->names, given->json); };
  });
}

void AddWatch(CLI::App& app, Command& chosen) {
  struct Arguments {
    sturdyctl::ClientOptions options;
    bool json = false;
  };
  const auto given = std::make_shared<Arguments>();
  CLI::App* watch =
      app.add_subcommand("watch", "Run a client and print what it does, until Ctrl-C");
  watch->add_flag("--json", given->json, "Print one JSON object per line");
  given->options.AddTo(*watch);
  watch->footer(
      "JSON: {\"event\": name} and the fields of the event:\n"
      "  \"update\" after each fetch: \"code\" 200 or 0\n"
      "  \"list\" at the start and after each change: \"links\" [\"host:port\"]\n"
      "  \"report_sent\" when a failure report is sent: \"records\", its content\n"
      "  \"report_done\" when its request has ended: \"success\" true or false\n"
      "  \"service_update_begun\" when the endpoints of HTTP DNS are requested\n"
      "  \"service_update_done\" when that request has ended: \"success\" true or false\n"
      "  \"exiting\" at Ctrl-C, \"exited\" after the exit of the environment\n" +
      std::string(kExitCodes));
  watch->callback([given, &chosen] {
    chosen = [given] { return sturdyctl::RunWatch(given->options, given->json); };
  });
}

// Adds the argument of the commands that read what a client has left.
void AddFolder(CLI::App& command, std::string& folder, const std::string& description) {
  command.add_option("FOLDER", folder, description)->type_name("DIR")->required();
}

// Adds the options of the commands that print it.
void AddForm(CLI::App& command, bool& json, bool& redact) {
  command.add_flag("--json", json, "Print one JSON object");
  command.add_flag("--redact", redact, kRedact);
}

void AddLog(CLI::App& app, Command& chosen) {
  const auto given = std::make_shared<sturdyctl::LogOptions>();
  CLI::App* log = app.add_subcommand("log", "Print a client's log, even while the client runs");
  AddFolder(*log, given->folder, kFolderOrLog);
  log->add_flag("--follow", given->follow, "Print new messages until Ctrl-C");
  log->add_option("--tag", given->tags,
                  "Only messages with this tag, such as lbs; repeat it for more")
      ->allow_extra_args(false);
  log->add_option(
      "--since", given->since,
      "Only messages since 14:05 or \"03-14 14:05:30\", or of the last 90s, 15m, 2h or 1d");
  log->add_option("--until", given->until,
                  "Only messages before this time, or until 90s, 15m, 2h or 1d ago");
  log->add_flag("--redact", given->redact, kRedact);
  log->footer(kExitCodes);
  log->callback([given, &chosen] { chosen = [given] { return sturdyctl::RunLog(*given); }; });
}

void AddWhy(CLI::App& app, Command& chosen) {
  const auto given = std::make_shared<sturdyctl::WhyOptions>();
  CLI::App* why = app.add_subcommand("why", "Say why a client got its address, from its log");
  AddFolder(*why, given->folder, kFolderOrLog);
  why->add_flag("--all", given->all, "Explain each answer; without it, the last one only");
  why->add_flag("--json", given->json, "Print one JSON object, with all fetches");
  why->add_flag("--redact", given->redact, kRedact);
  why->footer(
      std::string(kExitCodes) +
      "\n\nJSON: {\"fetches\": [{\"id\", \"kind\": lbs|service|hosts|report, \"asked_because\":\n"
      "         start|update|token|network|third_default|default_timer|second_pass|other,\n"
      "         \"begin\", \"end\": null if under_way, \"outcome\": "
      "taken|failed|superseded|under_way,\n"
      "         \"taken_from\": {\"index\", \"url\", \"pass\"} or null,\n"
      "         \"tries\": [{\"index\", \"url\", \"pass\": 1|2,\n"
      "           \"begin_ms\", \"end_ms\" or null, \"silent_ms\" if it was passed over: since "
      "the\n"
      "             fetch's begin,\n"
      "           \"outcome\": taken|bad_status|bad_document|failed|late|dropped|under_way,\n"
      "           \"status\": 0 without an answer, \"cause\": a word of the log, or empty,\n"
      "           \"started_because\": first|silence|failure,\n"
      "           \"unsure\": true if the log fits another request too}]}],\n"
      "       \"answers\": [{\"time\", \"host\", \"port\", \"source\": list|default,\n"
      "         \"document\": {\"from\": fetch|cache|settings, \"fetch\": its id} or null}]}\n"
      "       A null is what the log doesn't say. A fetch that an exit ended is under_way.\n");
  why->callback([given, &chosen] { chosen = [given] { return sturdyctl::RunWhy(*given); }; });
}

void AddState(CLI::App& app, Command& chosen) {
  const auto given = std::make_shared<sturdyctl::StateOptions>();
  CLI::App* state = app.add_subcommand("state", "Print what a client's caches hold");
  AddFolder(*state, given->folder, "Data folder of the client");
  AddForm(*state, given->json, given->redact);
  state->footer(
      "JSON: {\"folder\",\n"
      "       \"document\": {\"file\": F, \"usable\": a start takes it, \"origin\": "
      "fetch|settings\n"
      "         or null, \"age_ms\": null without a fetch, \"family\": any|v4|v6, \"root_url\": "
      "of\n"
      "         the settings that it counts for, \"fetch_urls\", \"links\", \"defaults\"},\n"
      "       \"endpoints\": {\"file\": F, \"usable\", \"name\", \"urls\", \"ttl_ms\" and "
      "\"left_ms\": null\n"
      "         if a start doesn't use them},\n"
      "       \"hosts\": {\"file\": F, \"hosts\": [{\"name\", \"state\": fresh|stale|gone,\n"
      "         \"addresses\", \"fresh_ms\", \"left_ms\": until then, below 0 if it has "
      "passed}]}}\n"
      "       F: {\"path\", \"condition\": missing|unreadable|empty|damaged|good, \"faults\":\n"
      "         [{\"member\": empty for the file itself, \"offset\": bytes or null, \"what\"}]}\n" +
      std::string(kExitCodes));
  state->callback([given, &chosen] { chosen = [given] { return sturdyctl::RunState(*given); }; });
}

void AddStats(CLI::App& app, Command& chosen) {
  const auto given = std::make_shared<sturdyctl::StatsOptions>();
  CLI::App* stats = app.add_subcommand("stats", "Count what a client did, from its log");
  AddFolder(*stats, given->folder, kFolderOrLog);
  AddForm(*stats, given->json, given->redact);
  stats->footer(
      "JSON: {\"starts\", \"fetches\": {\"by_reason\": {word: count}, \"by_outcome\": {word: "
      "count}},\n"
      "       \"tries_per_fetch\": {number: fetches}, \"urls\": [{\"url\", \"tries\", \"wins\"}],\n"
      "       \"causes\": {word: failed tries of all requests}, \"second_passes\": of all "
      "requests,\n"
      "       \"answers\", \"defaults\": of these, \"caches\": [{\"age_ms\": since its fetch or "
      "null,\n"
      "       \"refusal\": why a start didn't use it}]}\n" +
      std::string(kExitCodes));
  stats->callback([given, &chosen] { chosen = [given] { return sturdyctl::RunStats(*given); }; });
}

void AddBundle(CLI::App& app, Command& chosen) {
  struct Arguments {
    std::string folder;
    std::string output;
  };
  const auto given = std::make_shared<Arguments>();
  CLI::App* bundle = app.add_subcommand(
      "bundle",
      "Write what support needs of a client into a new folder, without key and query values");
  AddFolder(*bundle, given->folder, "Data folder of the client");
  bundle->add_option("--output", given->output, "The folder to make; an empty one is taken")
      ->type_name("DIR")
      ->required();
  bundle->footer(kExitCodes);
  bundle->callback([given, &chosen] {
    chosen = [given] { return sturdyctl::RunBundle(given->folder, given->output); };
  });
}

void AddTimeline(CLI::App& app, Command& chosen) {
  const auto given = std::make_shared<sturdyctl::TimelineOptions>();
  CLI::App* timeline =
      app.add_subcommand("timeline", "Write a page that shows what a client did and why");
  AddFolder(*timeline, given->folder, kFolderOrLog);
  timeline->add_option("--output", given->output, "The page to write; any browser opens it offline")
      ->type_name("FILE")
      ->required();
  timeline->add_option("--trace", given->trace, "Also write a trace, for Perfetto")
      ->type_name("FILE");
  timeline->add_flag("--redact", given->redact, kRedact);
  timeline->footer(kExitCodes);
  timeline->callback([given, &chosen] { chosen = [given] { return RunTimeline(*given); }; });
}

void AddServe(CLI::App& app, Command& chosen) {
  const auto scenario = std::make_shared<std::string>();
  CLI::App* serve =
      app.add_subcommand("serve", "Play the loopback servers of a scenario until Ctrl-C");
  serve->add_option("--scenario", *scenario, "JSON file, see docs/lab-scenario.md")
      ->type_name("FILE")
      ->required();
  serve->footer(kExitCodes);
  serve->callback(
      [scenario, &chosen] { chosen = [scenario] { return sturdyctl::RunServe(*scenario); }; });
}

void AddDemo(CLI::App& app, Command& chosen) {
  CLI::App* demo = app.add_subcommand("demo", "Show how a client keeps its answer as servers fail");
  demo->footer(kExitCodes);
  demo->callback([&chosen] { chosen = [] { return sturdyctl::RunDemo(); }; });
}

int Run(const std::vector<std::string>& arguments) {
  CLI::App app("Command line of sturdy_comp: asks where to connect, and plays servers that fail.");
  app.name("sturdyctl");
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // a path may begin with a slash
  app.footer(kExitCodes);
  sturdyctl::AddPageOptions(app);
  Command chosen;
  for (const auto add : {AddLink, AddQueryHost, AddWatch, AddLog, AddWhy, AddState, AddStats,
                         AddTimeline, AddBundle, AddServe, AddDemo}) {
    add(app, chosen);
  }
  try {
    // The parser wants the last one first.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "sturdyctl: %s\n", sturdyctl::ParseErrorText(app, error).c_str());
    return sturdyctl::kExitUsage;
  }
  return chosen();
}

// Turns success into failure if the output couldn't be written.
int CheckOutput(int code) {
  std::cout.flush();
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout) {
    return code;
  }
  std::fputs("sturdyctl: the output can't be written.\n", stderr);
  return sturdyctl::kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return CheckOutput(Run(platform::StartProgram(argc, argv)));
  } catch (const sturdyctl::UsageError& error) {
    std::fprintf(stderr, "sturdyctl: %s\n", error.what());
    return sturdyctl::kExitUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "sturdyctl: %s\n", error.what());
    return sturdyctl::kExitFailed;
  }
}
