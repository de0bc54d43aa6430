#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "tools/sturdyctl/client_options.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/pages.h"
#include "tools/sturdyctl/usage_error.h"

namespace {

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 the command line or a file of it can't be used.";

constexpr char kLinkFields[] =
    "JSON: {\"links\": [{\"host\", \"port\", \"family\": any|v4|v6, \"source\": list|default,\n"
    "       \"after_ms\"}], \"list\": [\"host:port\"], \"log\": path}\n";

constexpr char kWatchFields[] =
    "JSON, one object a line, by its \"event\":\n"
    "  \"update\" after each fetch: \"code\" 200 or 0\n"
    "  \"list\" when the list has changed: \"links\" [\"host:port\"]\n"
    "  \"report_sent\" when failures are reported: \"records\", the report as it goes out\n"
    "  \"report_done\" when that has ended: \"success\" true or false\n"
    "  \"service_update_begun\" when the HTTP DNS service is asked for its own addresses\n"
    "  \"service_update_done\" when that has ended: \"success\" true or false\n"
    "  \"exiting\" at Ctrl-C, \"exited\" when the environment has been exited\n";

constexpr char kQueryFields[] =
    "JSON: {\"hosts\": [{\"host\", \"code\": 200, or 1 if not resolved or an address already,\n"
    "       \"ipv4\": [address], \"ipv6\": [\"[address]\"]}], \"log\": path}\n";

constexpr char kQueryExitCodes[] =
    "Exit codes: 0 each name has an address, 1 one of them hasn't or nothing could be asked,\n"
    "            2 the command line can't be used.";

int Run(int argc, char** argv) {
  CLI::App app("Command line of sturdy_comp: asks where to connect, and plays servers that fail.");
  app.name("sturdyctl");
  app.require_subcommand(1);
  app.footer(kExitCodes);
  sturdyctl::AddPageOptions(app);

  std::function<int()> chosen;
  sturdyctl::ClientOptions options;
  bool json = false;

  auto* link = app.add_subcommand("link", "Print link addresses of one client");
  int count = 1;
  bool wait = false;
  link->add_option("--count", count, "How many addresses")->check(CLI::Range(1, 100000));
  link->add_flag(
      "--wait", wait,
      "Ask after the first fetch has ended, not at once (never, if no URL is of --family)");
  link->add_flag("--json", json, "Print one JSON object");
  options.AddTo(*link);
  link->footer(std::string(kLinkFields) + kExitCodes);
  link->callback([&] { chosen = [&] { return sturdyctl::RunLink(options, count, wait, json); }; });

  auto* query = app.add_subcommand("query-host", "Print what HTTP DNS has for host names");
  std::vector<std::string> names;
  query->add_option("NAME", names, "Host name")->required();
  query->add_flag("--json", json, "Print one JSON object");
  options.AddEnvironmentTo(*query);
  query->footer(std::string(kQueryFields) + kQueryExitCodes);
  query->callback([&] { chosen = [&] { return sturdyctl::RunQueryHost(options, names, json); }; });

  auto* watch = app.add_subcommand("watch", "Print updates and changes of the list until Ctrl-C");
  watch->add_flag("--json", json, "Print one JSON object a line");
  options.AddTo(*watch);
  watch->footer(std::string(kWatchFields) + kExitCodes);
  watch->callback([&] { chosen = [&] { return sturdyctl::RunWatch(options, json); }; });

  auto* log = app.add_subcommand("log", "Print a client's log, also of one that runs");
  sturdyctl::LogOptions wanted;
  log->add_option("FOLDER", wanted.folder, "Data folder of the client")
      ->type_name("DIR")
      ->required();
  log->add_flag("--follow", wanted.follow, "Go on with what comes, until Ctrl-C");
  log->add_option("--tag", wanted.tags, "Only messages with this tag, such as lbs; may be repeated")
      ->allow_extra_args(false);
  log->add_option(
      "--since", wanted.since,
      "Only what came after 14:05, \"03-14 14:05:30\", or in the last 90s, 15m, 2h, 1d");
  log->footer(kExitCodes);
  log->callback([&] { chosen = [&] { return sturdyctl::RunLog(wanted); }; });

  auto* serve = app.add_subcommand("serve", "Play a scenario of loopback servers until Ctrl-C");
  std::string scenario;
  serve->add_option("--scenario", scenario, "JSON file, see docs/lab-scenario.md")
      ->type_name("FILE")
      ->required();
  serve->footer(kExitCodes);
  serve->callback([&] { chosen = [&] { return sturdyctl::RunServe(scenario); }; });

  auto* demo = app.add_subcommand("demo", "Tell how a client keeps its answer while servers fail");
  demo->footer(kExitCodes);
  demo->callback([&] { chosen = [] { return sturdyctl::RunDemo(); }; });

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "sturdyctl: %s\n", error.what());
    return sturdyctl::kExitUsage;
  }
  return chosen();
}

// An output that nobody has got is no success.
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
    return CheckOutput(Run(argc, argv));
  } catch (const sturdyctl::UsageError& error) {
    std::fprintf(stderr, "sturdyctl: %s\n", error.what());
    return sturdyctl::kExitUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "sturdyctl: %s\n", error.what());
    return sturdyctl::kExitFailed;
  }
}
