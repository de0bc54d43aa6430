#include "bench/herd/scenario.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "lab/scenario_node.h"

namespace herd {

namespace {

using lab::Node;

constexpr size_t kMaxServers = 64;
constexpr size_t kMaxList = 16;  // of servers in one list
constexpr double kPercent = 100;
constexpr double kPerMille = 1000;

// Reads a number from `least` to `most`, if the key is there.
template <class Number>
void ReadNumber(const Node& node, const char* name, Number& to, int least, int most) {
  if (!node.Has(name)) {
    return;
  }
  const int number = node.At(name).Number();
  if (number < least || number > most) {
    node.At(name).Fail("must be from " + std::to_string(least) + " to " + std::to_string(most) +
                       ", not " + std::to_string(number) + ".");
  }
  to = static_cast<Number>(number);
}

constexpr int kLongMs = 3600000;
constexpr int kMost = 100000000;

NetworkPlan ReadNetwork(const Node& node) {
  node.ExpectKeys({"median_ms", "sigma_percent", "loss_per_mille"}, "a network");
  NetworkPlan plan;
  double sigma_percent = plan.sigma * kPercent;
  double loss_per_mille = 0;
  ReadNumber(node, "median_ms", plan.median_ms, 1, kLongMs);
  ReadNumber(node, "sigma_percent", sigma_percent, 0, 300);
  ReadNumber(node, "loss_per_mille", loss_per_mille, 0, 500);
  plan.sigma = sigma_percent / kPercent;
  plan.loss = loss_per_mille / kPerMille;
  return plan;
}

Loop ReadLoop(const Node& node) {
  node.ExpectKeys({"base_ms", "pause", "wake_on"}, "a loop");
  Loop loop;
  ReadNumber(node, "base_ms", loop.base_ms, 0, kLongMs);
  node.Read("pause", loop.pause_each, {{"default", false}, {"each", true}});
  node.Read("wake_on", loop.wake_on,
            {{"new_list", WakeOn::kNewList},
             {"any_list", WakeOn::kAnyList},
             {"nothing", WakeOn::kNothing}});
  return loop;
}

void ReadBegin(const Node& node, Scenario& scenario) {
  node.ExpectKeys({"what", "at_ms", "within_ms"}, "a begin");
  node.Read("what", scenario.begin,
            {{"connected", Begin::kConnected}, {"start", Begin::kStart}, {"token", Begin::kToken}});
  ReadNumber(node, "at_ms", scenario.begin_ms, 0, kLongMs);
  ReadNumber(node, "within_ms", scenario.within_ms, 0, kLongMs);
}

ServerPlan ReadServer(const Node& node) {
  node.ExpectKeys({"name", "answers_per_s", "workers", "delay_ms", "queue", "deadline_ms",
                   "when_full", "states"},
                  "a server");
  ServerPlan plan;
  plan.name = node.At("name").Text();
  ReadNumber(node, "answers_per_s", plan.answers_per_s, 0, kMost);
  ReadNumber(node, "workers", plan.workers, 1, kMost);
  ReadNumber(node, "delay_ms", plan.delay_ms, 0, kLongMs);
  ReadNumber(node, "queue", plan.queue, 0, kMost);
  ReadNumber(node, "deadline_ms", plan.deadline_ms, 0, kLongMs);
  node.Read("when_full", plan.when_full,
            {{"503", Outcome::kBad}, {"refuse", Outcome::kRefused}, {"silent", Outcome::kSilent}});
  if (node.Has("states")) {
    for (const Node& item : node.At("states").Items()) {
      item.ExpectKeys({"at_ms", "state"}, "a state");
      Ms at = 0;
      auto state = ServerPlan::State::kServes;
      ReadNumber(item, "at_ms", at, 0, kLongMs);
      item.Read("state", state,
                {{"serves", ServerPlan::State::kServes},
                 {"refuses", ServerPlan::State::kRefuses},
                 {"is_silent", ServerPlan::State::kIsSilent}});
      if (!plan.states.empty() && plan.states.back().first >= at) {
        item.Fail("must begin after the state before it.");
      }
      plan.states.emplace_back(at, state);
    }
  }
  return plan;
}

// Reads the name of a server as its place.
uint8_t ReadPlace(const Node& node, const std::vector<ServerPlan>& servers) {
  const std::string name = node.Text();
  const auto found = std::find_if(servers.begin(), servers.end(),
                                  [&](const ServerPlan& one) { return one.name == name; });
  if (found == servers.end()) {
    node.Fail("no server has the name \"" + name + "\".");
  }
  return static_cast<uint8_t>(found - servers.begin());
}

std::vector<uint8_t> ReadPlaces(const Node& node, const std::vector<ServerPlan>& servers) {
  std::vector<uint8_t> places;
  for (const Node& item : node.Items()) {
    places.push_back(ReadPlace(item, servers));
  }
  if (places.empty() || places.size() > kMaxList) {
    node.Fail("must have 1 to " + std::to_string(kMaxList) + " names.");
  }
  return places;
}

Document ReadDocument(const Node& node, const std::vector<ServerPlan>& servers) {
  node.ExpectKeys({"from_ms", "link", "link_default", "lbs", "shuffle_link", "shuffle_lbs"},
                  "a document");
  Document document;
  ReadNumber(node, "from_ms", document.from_ms, 0, kLongMs);
  document.link = ReadPlaces(node.At("link"), servers);
  document.link_default = ReadPlace(node.At("link_default"), servers);
  document.lbs = ReadPlaces(node.At("lbs"), servers);
  node.Read("shuffle_link", document.shuffle_link);
  node.Read("shuffle_lbs", document.shuffle_lbs);
  return document;
}

Names ReadNames(const Node& node, const std::vector<ServerPlan>& servers) {
  node.ExpectKeys({"resolve", "endpoints", "addresses", "lifetime_ms"}, "names");
  Names names;
  node.Read("resolve", names.resolve);
  names.endpoints = ReadPlaces(node.At("endpoints"), servers);
  names.addresses = ReadPlaces(node.At("addresses"), servers);
  ReadNumber(node, "lifetime_ms", names.lifetime_ms, kMsPerSecond, kLongMs);
  return names;
}

void ReadLists(const Node& node, Scenario& scenario) {
  for (const Node& item : node.At("servers").Items()) {
    scenario.servers.push_back(ReadServer(item));
  }
  if (scenario.servers.size() > kMaxServers) {
    node.At("servers").Fail("must have at most " + std::to_string(kMaxServers) + " servers.");
  }
  for (const Node& item : node.At("documents").Items()) {
    scenario.documents.push_back(ReadDocument(item, scenario.servers));
    const size_t count = scenario.documents.size();
    const Ms from_ms = scenario.documents.back().from_ms;
    if (count == 1 ? from_ms != 0 : from_ms <= scenario.documents[count - 2].from_ms) {
      item.Fail("must begin at 0 if it is the first, and after the one before it if not.");
    }
  }
  if (scenario.documents.empty()) {
    node.At("documents").Fail("must have a document.");
  }
  if (node.Has("names")) {
    scenario.names = ReadNames(node.At("names"), scenario.servers);
  }
}

Scenario ReadOne(const lab::Json& json) {
  const Node node(json, "");
  node.ExpectKeys({"description", "clients", "seconds", "network", "loop", "begin",
                   "link_time_out_ms", "servers", "documents", "names"},
                  "a scenario");
  Scenario scenario;
  node.Read("description", scenario.description);
  ReadNumber(node, "clients", scenario.clients, 1, kMost);
  ReadNumber(node, "seconds", scenario.seconds, 1, kMostSeconds);
  ReadNumber(node, "link_time_out_ms", scenario.link_time_out_ms, 1, kLongMs);
  if (node.Has("network")) {
    scenario.network = ReadNetwork(node.At("network"));
  }
  if (node.Has("loop")) {
    scenario.loop = ReadLoop(node.At("loop"));
  }
  if (node.Has("begin")) {
    ReadBegin(node.At("begin"), scenario);
  }
  ReadLists(node, scenario);
  return scenario;
}

// A file's JSON with values of its sweep put in.
struct Variant {
  lab::Json json;
  std::vector<std::string> values;
};

// Returns each variant once for each value of this part of a sweep.
std::vector<Variant> Vary(const std::vector<Variant>& variants, const Node& node) {
  node.ExpectKeys({"at", "to"}, "a part of a sweep");
  if (node.At("to").Items().empty()) {
    node.At("to").Fail("must have a value.");
  }
  std::vector<Variant> result;
  for (const Variant& variant : variants) {
    for (const Node& value : node.At("to").Items()) {
      Variant next = variant;
      for (const Node& at : node.At("at").Items()) {
        try {
          next.json.at(lab::Json::json_pointer(at.Text())) = lab::Json::parse(value.Dump());
        } catch (const lab::Json::exception&) {
          at.Fail("must point to a key of this file, such as /loop/base_ms.");
        }
      }
      next.values.push_back(value.Dump());
      result.push_back(std::move(next));
    }
  }
  return result;
}

}  // namespace

void Scenario::Scale(uint32_t new_clients) {
  const double ratio = static_cast<double>(new_clients) / clients;
  clients = new_clients;
  for (ServerPlan& server : servers) {
    server.answers_per_s *= ratio;
    // So an answer takes as long as before, if that leaves a worker.
    server.workers = std::max(1, static_cast<int>(std::lround(server.workers * ratio)));
    server.queue = static_cast<int>(std::ceil(server.queue * ratio));
  }
}

std::vector<Scenario> ReadScenarios(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  lab::Json json = lab::Json::parse(file, nullptr, /*allow_exceptions=*/false);
  if (!file || json.is_discarded()) {
    throw lab::ScenarioError(path + ": can't be read, or is no JSON.");
  }
  const std::string name = std::filesystem::path(path).stem().string();
  std::vector<Variant> variants{{json, {}}};
  if (json.is_object() && json.contains("sweep")) {
    variants.front().json.erase("sweep");
    for (const Node& item : Node(json, "").At("sweep").Items()) {
      variants = Vary(variants, item);
    }
  }
  std::vector<Scenario> scenarios;
  for (const Variant& variant : variants) {
    scenarios.push_back(ReadOne(variant.json));
    scenarios.back().name = name;
    scenarios.back().swept = variant.values;
  }
  return scenarios;
}

}  // namespace herd
