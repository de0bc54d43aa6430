#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/herd/client.h"
#include "bench/herd/network.h"
#include "bench/herd/rules.h"
#include "bench/herd/server.h"

namespace herd {

// A document that the LBS servers give from a time on. Servers by their place in Scenario::servers.
struct Document {
  Ms from_ms = 0;
  std::vector<uint8_t> link;
  uint8_t link_default = 0;
  std::vector<uint8_t> lbs;
  bool shuffle_link = false;  // the order differs from client to client
  bool shuffle_lbs = false;
};

// How the LBS servers are found.
struct Names {
  bool resolve = true;             // by the system
  std::vector<uint8_t> endpoints;  // of HTTP DNS; none: the URLs have addresses
  std::vector<uint8_t> addresses;  // what HTTP DNS answers
  int64_t lifetime_ms = 3600000;   // of the endpoints
};

// How the clients begin, each at a random time within `within_ms`.
enum class Begin : uint8_t {
  kConnected,  // nothing: each is connected to a server of the first document's list
  kStart,      // it starts with the first document in its cache
  kToken,      // it is connected and gets a new token, which makes it want a new list
};

constexpr int kMostSeconds = 3600;  // of a run

// A run as its file describes it; docs/herd.md has the form.
struct Scenario {
  std::string name;
  std::string description;
  std::vector<std::string> swept;  // the values that a sweep has put in, as JSON
  uint32_t clients = 1000000;
  int seconds = 300;
  NetworkPlan network;
  Loop loop;
  Begin begin = Begin::kConnected;
  Ms begin_ms = 0;
  Ms within_ms = 0;
  Ms link_time_out_ms = 5000;  // a client gives up a silent link server after it
  std::vector<ServerPlan> servers;
  std::vector<Document> documents;  // in the order of their times
  Names names;

  // Changes the number of clients, and each rate, queue and number of workers in the same ratio.
  void Scale(uint32_t new_clients);
};

// Reads a file: one scenario, or one for each combination of the values of its sweep.
// Errors: lab::ScenarioError, whose text names the file's key.
std::vector<Scenario> ReadScenarios(const std::string& path);

}  // namespace herd
