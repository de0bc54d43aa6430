// The servers of the herd, and what the reader of its scenarios refuses.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "bench/herd/herd.h"
#include "bench/herd/result.h"
#include "bench/herd/scenario.h"
#include "bench/herd/server.h"
#include "lab/scenario.h"
#include "lab/temp_folder.h"

namespace {

using herd::Server;
using herd::ServerPlan;
using State = ServerPlan::State;

// A server that takes 100 ms for each answer.
ServerPlan Slow() {
  ServerPlan plan;
  plan.answers_per_s = 10;
  return plan;
}

TEST(HerdServerTest, AnswersInTurnAndAtTheRateOfItsWorkers) {
  ServerPlan plan = Slow();
  plan.workers = 2;
  plan.delay_ms = 5;
  Server server(plan);
  EXPECT_EQ(server.Arrive(0).leaves_ms, 205);
  EXPECT_EQ(server.Arrive(0).leaves_ms, 305);
  EXPECT_EQ(server.Arrive(1000).leaves_ms, 1205) << "it has been idle meanwhile";
}

TEST(HerdServerTest, FullQueueAndDeadlineCostNoWork) {
  for (const herd::Outcome when_full :
       {herd::Outcome::kBad, herd::Outcome::kRefused, herd::Outcome::kSilent}) {
    ServerPlan plan = Slow();
    plan.queue = 2;
    plan.when_full = when_full;
    Server server(plan);
    EXPECT_EQ(server.Arrive(0).outcome, herd::Outcome::kGood);
    EXPECT_EQ(server.Arrive(0).outcome, herd::Outcome::kGood);
    EXPECT_EQ(server.Arrive(0).outcome, when_full);
    EXPECT_EQ(server.Arrive(1).leaves_ms, 300);
  }
  ServerPlan plan = Slow();
  plan.deadline_ms = 100;
  Server server(plan);
  server.Arrive(0);
  server.Arrive(0);
  EXPECT_EQ(server.Arrive(0).outcome, herd::Outcome::kBad);
  EXPECT_EQ(server.Arrive(100).leaves_ms, 300);
}

TEST(HerdServerTest, DeathLosesTheQueueAndReturnBeginsEmpty) {
  ServerPlan plan = Slow();
  plan.states = {{150, State::kRefuses}, {200, State::kIsSilent}, {300, State::kServes}};
  Server server(plan);
  EXPECT_EQ(server.Arrive(0).outcome, herd::Outcome::kGood);
  for (int i = 0; i < 10; ++i) {
    const Server::Answer lost = server.Arrive(0);
    EXPECT_EQ(lost.outcome, herd::Outcome::kBad);
    EXPECT_EQ(lost.leaves_ms, 150) << "its connection breaks then";
  }
  EXPECT_EQ(server.Arrive(150).outcome, herd::Outcome::kRefused);
  EXPECT_EQ(server.Arrive(299).outcome, herd::Outcome::kSilent);
  EXPECT_EQ(server.Arrive(300).leaves_ms, 400);
}

// Three defaults make a fetch, and a pause follows each default. If the dead list that a fetch
// brings ends its pause, one of the three is lost.
TEST(HerdTest, DeadListAgainEndsNoPause) {
  const auto fetches = [](herd::WakeOn wake_on) {
    herd::Scenario scenario;
    scenario.clients = 300;
    scenario.loop.wake_on = wake_on;
    scenario.servers.resize(2);
    scenario.servers[0].states = {{1, State::kRefuses}};
    scenario.documents = {{.link = {0}, .link_default = 0, .lbs = {1}}};
    return static_cast<double>(herd::Herd(scenario, 1).Run().lists_taken);
  };
  EXPECT_GT(fetches(herd::WakeOn::kAnyList), 1.3 * fetches(herd::WakeOn::kNewList));
}

// One of two link servers dies at once, the other one later, when the first has returned. It dies
// in the middle of the connections that the first death brings.
TEST(HerdTest, CountsThoseThatLoseTheirServerAndLeavesNoneAtADeadOne) {
  herd::Scenario scenario;
  scenario.clients = 1000;
  scenario.seconds = 60;
  scenario.servers.resize(3);
  scenario.servers[0].states = {{1, State::kRefuses}, {150, State::kServes}};
  scenario.documents = {{.link = {0, 1}, .link_default = 1, .lbs = {2}}};
  const herd::Counts half = herd::Herd(scenario, 1).Run();
  EXPECT_EQ(half.wanted, 500U);
  EXPECT_EQ(herd::Summarize(scenario, {half}).found_share.mean, 1);
  EXPECT_GT(herd::Summarize(scenario, {half}).all.mean, 0);

  scenario.servers[1].states = {{90, State::kRefuses}};
  const herd::Counts both = herd::Herd(scenario, 1).Run();
  EXPECT_EQ(both.connected, (std::vector<uint32_t>{1000, 0, 0}));
}

// Writes a scenario with this text in its place and reads it.
std::vector<herd::Scenario> Read(const lab::TempFolder& folder, const std::string& more,
                                 const std::string& server = "",
                                 const std::string& link = "\"a\"") {
  const std::string path = folder.path() + "/one.json";
  std::ofstream(path) << R"({"servers": [{"name": "a", "queue": 10, "workers": 50)" << server
                      << R"(}], "documents": [{"link": [)" << link
                      << R"(], "link_default": "a", "lbs": ["a"]}])" << more << "}";
  return herd::ReadScenarios(path);
}

TEST(HerdScenarioTest, SweepGivesEachCombinationAndScaleKeepsTheRatios) {
  const lab::TempFolder folder;
  auto scenarios = Read(folder, R"(, "loop": {"base_ms": 0}, "clients": 1000, "sweep": [
      {"at": ["/servers/0/queue"], "to": [20, 30]}, {"at": ["/loop/base_ms"], "to": [1, 2]}])");
  ASSERT_EQ(scenarios.size(), 4U);
  EXPECT_EQ(scenarios[2].swept, (std::vector<std::string>{"30", "1"}));
  EXPECT_EQ(scenarios[2].servers[0].queue, 30);
  EXPECT_EQ(scenarios[2].loop.base_ms, 1U);
  scenarios[2].Scale(100);
  EXPECT_EQ(scenarios[2].servers[0].queue, 3);
  EXPECT_EQ(scenarios[2].servers[0].workers, 5);
}

TEST(HerdScenarioTest, ErrorNamesTheKey) {
  struct Case {
    const char* more;
    const char* server;
    const char* link;
    const char* error;
  };
  const lab::TempFolder folder;
  for (const Case& one : std::vector<Case>{
           {R"(, "x": 1)", "", R"("a")", "x: is not a key of a scenario."},
           {R"(, "clients": 0)", "", R"("a")", "clients: must be from 1 to 100000000, not 0."},
           {"", R"(, "when_full": "no")", R"("a")", "servers[0].when_full: "},
           {"", R"(, "states": [{"at_ms": 5}, {"at_ms": 5}])", R"("a")", "servers[0].states[1]: "},
           {"", "", R"("b")", "documents[0].link[0]: no server has the name \"b\"."},
           {R"(, "sweep": [{"at": ["/loop/base_ms"], "to": [1]}])", "", R"("a")",
            "sweep[0].at[0]: must point to a key of this file"},
           {R"(, "sweep": [{"at": [], "to": []}])", "", R"("a")", "sweep[0].to: "},
       }) {
    try {
      Read(folder, one.more, one.server, one.link);
      ADD_FAILURE() << one.error;
    } catch (const lab::ScenarioError& error) {
      EXPECT_EQ(std::string(error.what()).rfind(one.error, 0), 0U) << error.what();
    }
  }
}

}  // namespace
