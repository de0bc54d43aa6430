#include <chrono>
#include <cstdio>
#include <iostream>

#include "lab/lab.h"
#include "tools/platform/interrupt.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunServe(const std::string& scenario_path) {
  platform::Interrupt interrupt;
  try {
    const lab::Scenario scenario = lab::Scenario::ParseFile(scenario_path);
    lab::Lab lab(scenario, [](const lab::Request& request) {
      std::printf("%8.3f s  %-12s %s %s\n", static_cast<double>(request.at_ms) / 1000,
                  request.server.c_str(), request.method.c_str(), request.target.c_str());
      if (!request.body.empty()) {
        std::printf("%27s%s\n", "", request.body.c_str());
      }
      std::fflush(stdout);
    });
    for (const lab::Server& server : scenario.servers) {
      std::printf("%-12s %s\n", server.name.c_str(), lab.Url(server.name).c_str());
    }
    std::puts("Press Ctrl-C to exit.");
    std::fflush(stdout);
    while (!interrupt.WaitFor(std::chrono::minutes(1))) {
      lab.ForgetRequests();  // they are printed already
    }
  } catch (const lab::ScenarioError& error) {
    throw UsageError(scenario_path + ": " + error.what());
  }
  return kExitOk;
}

}  // namespace sturdyctl
