// Passes any arguments, one a line, to sturdyctl. It must run one command, print help, or refuse
// them with one sentence and the exit code 2.
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/expect.h"
#include "tools/sturdyctl/commands.h"

int SturdyctlMain(int argc, char** argv);

namespace sturdyctl {
namespace {

int commands_run = 0;

// Does what a client does with its options before it starts an environment.
int UseOptions(const ClientOptions& options) {
  ++commands_run;
  const zo_sturdy::_ZOSturdyEnvironmentSettings environment = options.EnvironmentRecord("/tmp/x");
  const zo_sturdy::_ZOSturdyLBSSettings lbs = options.LbsRecord();
  Expect(environment.business == options.business, "no text is cut");
  Expect(lbs.default_link_v4 == options.default_v4, "no text is cut");
  Expect(options.lbs_urls.size() <= 6 && options.default_links.size() <= 5, "the rows suffice");
  return 0;
}

}  // namespace

int RunLink(const ClientOptions& options, int count, bool, bool) {
  Expect(count >= 1 && count <= 100000, "a count in its range");
  return UseOptions(options);
}

int RunQueryHost(const ClientOptions& options, const std::vector<std::string>& names, bool) {
  Expect(!names.empty(), "a name at least");
  return UseOptions(options);
}

int RunWatch(const ClientOptions& options, bool) {
  return UseOptions(options);
}

int RunLog(const LogOptions&) {
  ++commands_run;
  return 0;
}

int RunWhy(const WhyOptions&) {
  ++commands_run;
  return 0;
}

int RunTimeline(const TimelineOptions& options) {
  Expect(!options.output.empty(), "a page to write");
  ++commands_run;
  return 0;
}

int RunState(const StateOptions&) {
  ++commands_run;
  return 0;
}

int RunStats(const StatsOptions&) {
  ++commands_run;
  return 0;
}

int RunBundle(const std::string&, const std::string&) {
  ++commands_run;
  return 0;
}

int RunServe(const std::string&) {
  ++commands_run;
  return 0;
}

int RunDemo() {
  ++commands_run;
  return 0;
}

}  // namespace sturdyctl

namespace {

struct Outcome {
  int code = 0;
  std::string out;
  std::string error;
};

// Runs the tool's main and catches its two outputs.
Outcome Run(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  char* text = nullptr;
  size_t length = 0;
  FILE* const caught = open_memstream(&text, &length);
  FILE* const true_stderr = stderr;
  std::ostringstream out;
  std::streambuf* const true_out = std::cout.rdbuf(out.rdbuf());
  stderr = caught;
  Outcome outcome;
  outcome.code = SturdyctlMain(static_cast<int>(arguments.size()), argv.data());
  stderr = true_stderr;
  std::cout.rdbuf(true_out);
  std::fclose(caught);
  outcome.out = out.str();
  outcome.error.assign(text, length);
  std::free(text);
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> arguments = {"sturdyctl"};
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  for (std::string line; std::getline(lines, line);) {
    arguments.emplace_back(line.c_str());  // ends at a NUL, as arguments do
  }
  sturdyctl::commands_run = 0;
  const Outcome outcome = Run(arguments);
  if (outcome.code == 0) {
    Expect(outcome.error.empty(), "no complaint", outcome.error);
    Expect(sturdyctl::commands_run == (outcome.out.empty() ? 1 : 0), "a command or help");
    return 0;
  }
  Expect(outcome.code == 2, "a command line that can't be used", outcome.error);
  Expect(outcome.error.rfind("sturdyctl: ", 0) == 0, "the tool's name first", outcome.error);
  Expect(outcome.error.find('\n') == outcome.error.size() - 1, "one line", outcome.error);
  return 0;
}
