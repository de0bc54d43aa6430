// Parses any text as a scenario of the lab. Either the lab refuses it with one sentence, or each of
// its behaviours makes a plan.
#include <string>
#include <vector>

#include "fuzz/expect.h"
#include "lab/placeholders.h"
#include "lab/plan.h"
#include "lab/scenario.h"

namespace {

// Returns endpoints as a running lab would have them.
std::vector<lab::Endpoint> Endpoints(const lab::Scenario& scenario) {
  std::vector<lab::Endpoint> endpoints;
  for (const lab::Server& server : scenario.servers) {
    endpoints.push_back(
        {server.name, "127.0.0.1:4000", "http://127.0.0.1:4000", "127.0.0.1", 4000, server.https});
  }
  return endpoints;
}

void Play(const lab::Behaviour& behaviour, const std::vector<lab::Endpoint>& endpoints) {
  // A scenario may have many pieces. The plan makes a step for each, so skip those that cost time.
  constexpr int kManyPieces = 1000;
  if (behaviour.body_pieces > kManyPieces) {
    return;
  }
  const lab::Behaviour expanded = lab::ExpandAll(behaviour, "key", endpoints);
  for (const char* method : {"GET", "HEAD"}) {
    const lab::Plan plan = lab::MakePlan(expanded, {method, "/a", "domain=im.example,b", true, 7});
    Expect(plan.gate == behaviour.hold, "the gate is the behaviour's");
    for (const lab::Plan::Step& step : plan.steps) {
      Expect(step.delay_ms >= 0, "a step never lies in the past");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  lab::Scenario scenario;
  try {
    scenario = lab::Scenario::Parse({reinterpret_cast<const char*>(data), size});
  } catch (const lab::ScenarioError& error) {
    const std::string what = error.what();
    Expect(what.find(": ") != std::string::npos && what.back() == '.', "key: sentence.", what);
    Expect(what.find('\n') == std::string::npos, "one line", what);
    return 0;
  }
  scenario.Check();
  const std::vector<lab::Endpoint> endpoints = Endpoints(scenario);
  for (const lab::Server& server : scenario.servers) {
    for (const lab::Route& route : server.routes) {
      for (const lab::Behaviour& behaviour : route.behaviours) {
        Play(behaviour, endpoints);
      }
    }
  }
  return 0;
}
