#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "bench/herd/calendar.h"
#include "bench/herd/client.h"
#include "bench/herd/network.h"
#include "bench/herd/rules.h"
#include "bench/herd/scenario.h"
#include "bench/herd/server.h"

namespace herd {

inline constexpr Ms kBinMs = 100;  // of the counts of a run

// What a run has counted.
struct Counts {
  // By server, then by bin: what arrived there, requests and connections alike.
  std::vector<std::vector<uint32_t>> arrivals;
  std::vector<uint64_t> answers;    // by server: the good ones that it has sent
  std::vector<uint32_t> connected;  // by server: clients at the end
  // By bins of the time from losing what they want to finding it: the clients that found it.
  std::vector<uint32_t> got;
  uint64_t wanted = 0;  // how often a client lost or began to want what it looks for
  uint64_t lists_taken = 0;
};

// One run: all clients, the servers, and the network between them. Implements the World of Rules.
// Threads: one at a time.
// Errors:  std::bad_alloc.
class Herd {
 public:
  // `scenario` must outlive it.
  Herd(const Scenario& scenario, uint64_t seed);
  Herd(const Herd&) = delete;
  Herd& operator=(const Herd&) = delete;

  // Plays the whole scenario, once.
  Counts Run();

  // --- The World of Rules ---
  Ms now() const { return calendar_.now(); }
  const Loop& loop() const { return scenario_.loop; }
  int LinkCount(const Client& client) const;
  int UrlCount(const Client& client, Kind kind) const;
  int PlaceToHold(const Client& client) const;
  void TryLink(Client& client, std::optional<size_t> place);
  void Send(Client& client, Kind kind, int url);
  void StartTimeOut(const Client& client, Kind kind, int url);
  void StartPause(const Client& client, Ms ms);
  void StartUpdateAfter(const Client& client, int64_t ms);
  bool NeedsHostQuery(const Client& client) const;
  bool Take(Client& client);
  int64_t UpdateLifetimeMs() const { return scenario_.names.lifetime_ms; }

 private:
  uint32_t IdOf(const Client& client) const {
    return static_cast<uint32_t>(&client - clients_.data());
  }
  const Document& DocumentOf(const Client& client) const {
    return scenario_.documents[client.document];
  }
  // The list of servers that a request goes through.
  const std::vector<uint8_t>& ServersOf(const Client& client, Kind kind) const;
  uint8_t ServerOf(const Client& client, Kind kind, int url) const;
  uint8_t LinkAt(const Client& client, size_t place) const;
  void Add(int64_t at, const Client& client, Event::What what, uint16_t number = 0,
           Kind kind = Kind::kFetch, int url = 0, uint8_t server = 0);
  void CountArrival(uint8_t server, int64_t at);

  void Populate();
  // Applies what happens to servers and documents at this time.
  void Tick();
  void Handle(const Event& event);
  void BeginClient(Client& client);
  void ArriveAtLink(Client& client);
  void ArriveAtUrl(Client& client, const Event& event);
  void Lose(Client& client);
  void Want(Client& client);
  void Got(Client& client);

  const Scenario& scenario_;
  Network network_;
  Calendar calendar_;
  std::vector<Server> servers_;
  std::vector<Client> clients_;
  std::vector<Ms> changes_;  // when servers or documents change: the times left, the next one last
  uint8_t newest_document_ = 0;
  Counts counts_;
  Rules<Herd> rules_;
};

}  // namespace herd
