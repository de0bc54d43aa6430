#include "bench/herd/herd.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numeric>
#include <utility>

namespace herd {

namespace {

constexpr Ms kConnectTimeOutMs = 7000;
constexpr Ms kHeadTimeOutMs = 2000;  // from the sending of a request to the head of its answer
constexpr size_t kMaxShuffled = 16;

// Mixes the bits of a number, so that the results for similar ones aren't similar.
uint32_t Mix(uint32_t x) {
  x = (x ^ (x >> 16)) * 0x7feb352dU;
  x = (x ^ (x >> 15)) * 0x846ca68bU;
  return x ^ (x >> 16);
}

// Returns the number at `place` of 0 to `count` - 1 in an order that `seed` chooses.
size_t Shuffled(size_t place, size_t count, uint32_t seed) {
  std::array<uint8_t, kMaxShuffled> order{};
  std::iota(order.begin(), order.end(), uint8_t{0});
  for (size_t i = 0; i <= place; ++i) {
    seed = Mix(seed + 1);
    std::swap(order.at(i), order.at(i + seed % (count - i)));
  }
  return order.at(place);
}

}  // namespace

Herd::Herd(const Scenario& scenario, uint64_t seed)
    : scenario_(scenario),
      network_(scenario.network, seed),
      calendar_(scenario.seconds * kMsPerSecond),
      servers_(scenario.servers.begin(), scenario.servers.end()),
      rules_(*this) {
  const size_t bins = static_cast<size_t>(scenario.seconds) * (kMsPerSecond / kBinMs);
  counts_.arrivals.assign(servers_.size(), std::vector<uint32_t>(bins));
  counts_.answers.resize(servers_.size());
  counts_.connected.resize(servers_.size());
  counts_.got.resize(bins);
  clients_.reserve(scenario.clients);
  for (const ServerPlan& server : scenario.servers) {
    for (const auto& state : server.states) {
      changes_.push_back(state.first);
    }
  }
  for (const Document& document : scenario.documents) {
    changes_.push_back(document.from_ms);
  }
  std::sort(changes_.begin(), changes_.end(), std::greater<>());
  changes_.erase(std::unique(changes_.begin(), changes_.end()), changes_.end());
}

Counts Herd::Run() {
  Populate();
  calendar_.Run([this] { Tick(); },
                [this](const Event& event, const Event* ahead) {
                  if (ahead != nullptr) {
                    __builtin_prefetch(&clients_[ahead->client], 1);
                  }
                  Handle(event);
                });
  for (const Client& client : clients_) {
    if (client.connected) {
      ++counts_.connected[client.link];
    }
  }
  return std::move(counts_);
}

void Herd::Populate() {
  for (uint32_t id = 0; id < scenario_.clients; ++id) {
    Client& client =
        clients_.emplace_back(sturdy::Backoff(scenario_.loop.base_ms, network_.Random()));
    if (scenario_.begin != Begin::kStart) {
      client.connected = true;
      client.got_at = 0;
      client.link = LinkAt(client, id % DocumentOf(client).link.size());
    }
    if (scenario_.begin != Begin::kConnected) {
      const uint32_t range = static_cast<uint32_t>(scenario_.within_ms) + 1;
      Add(scenario_.begin_ms + static_cast<Ms>(network_.Random() % range), client,
          Event::What::kBegin);
    }
  }
}

// --- What the rules ask of the world ---

int Herd::LinkCount(const Client& client) const {
  return static_cast<int>(DocumentOf(client).link.size());
}

const std::vector<uint8_t>& Herd::ServersOf(const Client& client, Kind kind) const {
  if (kind == Kind::kUpdate || client.stage == Stage::kHostQuery) {
    return scenario_.names.endpoints;
  }
  return client.stage == Stage::kSecondPass ? scenario_.names.addresses : DocumentOf(client).lbs;
}

int Herd::UrlCount(const Client& client, Kind kind) const {
  return static_cast<int>(ServersOf(client, kind).size());
}

uint8_t Herd::ServerOf(const Client& client, Kind kind, int url) const {
  const std::vector<uint8_t>& servers = ServersOf(client, kind);
  const auto place = static_cast<size_t>(url);
  const bool shuffled =
      kind == Kind::kFetch && client.stage == Stage::kFirstPass && DocumentOf(client).shuffle_lbs;
  return servers[shuffled ? Shuffled(place, servers.size(), Mix(IdOf(client))) : place];
}

uint8_t Herd::LinkAt(const Client& client, size_t place) const {
  const Document& document = DocumentOf(client);
  return document
      .link[document.shuffle_link ? Shuffled(place, document.link.size(), ~Mix(IdOf(client)))
                                  : place];
}

int Herd::PlaceToHold(const Client& client) const {
  for (int place = 0; place < LinkCount(client); ++place) {
    if (LinkAt(client, static_cast<size_t>(place)) == client.link) {
      return place;
    }
  }
  return 0;
}

void Herd::TryLink(Client& client, std::optional<size_t> place) {
  client.link = place ? LinkAt(client, *place) : DocumentOf(client).link_default;
  const Ms round_trip = network_.RoundTrip();
  const Ms arrives = now() + round_trip / 2;
  // Only a server that serves has a queue. For the others, the outcome is known now.
  switch (servers_[client.link].StateAt(arrives)) {
    case ServerPlan::State::kServes:
      Add(arrives, client, Event::What::kLinkArrives);
      return;
    case ServerPlan::State::kRefuses:
      Add(now() + round_trip, client, Event::What::kLinkFails);
      break;
    case ServerPlan::State::kIsSilent:
      Add(now() + scenario_.link_time_out_ms, client, Event::What::kLinkFails);
      break;
  }
  CountArrival(client.link, arrives);
}

void Herd::Send(Client& client, Kind kind, int url) {
  const uint16_t number = client.Of(kind).number;
  const Ms round_trip = network_.RoundTrip();
  if (kind == Kind::kFetch && client.stage == Stage::kFirstPass && !scenario_.names.resolve) {
    Add(now() + round_trip, client, Event::What::kBad, number, kind, url);
    return;
  }
  const uint8_t server = ServerOf(client, kind, url);
  const Ms arrives = now() + round_trip / 2;  // the connection's first packet
  switch (servers_[server].StateAt(arrives)) {
    case ServerPlan::State::kServes:
      Add(arrives + round_trip, client, Event::What::kArrives, number, kind, url, server);
      return;
    case ServerPlan::State::kRefuses:
      Add(now() + round_trip, client, Event::What::kBad, number, kind, url);
      break;
    case ServerPlan::State::kIsSilent:
      Add(now() + kConnectTimeOutMs, client, Event::What::kBad, number, kind, url);
      break;
  }
  CountArrival(server, arrives);
}

void Herd::StartTimeOut(const Client& client, Kind kind, int url) {
  const uint16_t number = (kind == Kind::kFetch ? client.fetch : client.update).number;
  Add(now() + kSilenceMs, client, Event::What::kTimesOut, number, kind, url);
}

void Herd::StartPause(const Client& client, Ms ms) {
  Add(now() + ms, client, Event::What::kPauseEnds, client.pause);
}

void Herd::StartUpdateAfter(const Client& client, int64_t ms) {
  Add(now() + ms, client, Event::What::kUpdateBegins);
}

bool Herd::NeedsHostQuery(const Client&) const {
  return !scenario_.names.endpoints.empty();
}

bool Herd::Take(Client& client) {
  ++counts_.lists_taken;
  const Document& old = DocumentOf(client);
  client.document = newest_document_;
  if (scenario_.begin == Begin::kToken) {
    Got(client);
  }
  return DocumentOf(client).link != old.link;
}

// --- What happens ---

void Herd::Add(int64_t at, const Client& client, Event::What what, uint16_t number, Kind kind,
               int url, uint8_t server) {
  calendar_.Add(at, Event(IdOf(client), what, number, kind, url, server));
}

void Herd::CountArrival(uint8_t server, int64_t at) {
  const auto bin = static_cast<size_t>(at / kBinMs);
  if (bin < counts_.arrivals[server].size()) {
    ++counts_.arrivals[server][bin];
  }
}

void Herd::Tick() {
  if (changes_.empty() || changes_.back() != now()) {
    return;
  }
  changes_.pop_back();
  while (newest_document_ + size_t{1} < scenario_.documents.size() &&
         scenario_.documents[newest_document_ + size_t{1}].from_ms <= now()) {
    ++newest_document_;
  }
  for (size_t i = 0; i < servers_.size(); ++i) {
    for (const auto& [at, state] : servers_[i].plan().states) {
      if (at != now() || state == ServerPlan::State::kServes) {
        continue;
      }
      for (Client& client : clients_) {
        if (client.connected && client.link == i) {
          Lose(client);
        }
      }
    }
  }
}

// A client notices a broken connection at once; its first attempt then takes a round trip.
void Herd::Lose(Client& client) {
  client.connected = false;
  if (scenario_.begin != Begin::kToken) {
    Want(client);
  }
  rules_.Connect(client);
}

void Herd::Want(Client& client) {
  client.wanted_since = now();
  client.got_at = -1;
  ++counts_.wanted;
}

void Herd::Got(Client& client) {
  if (client.got_at >= 0) {
    return;
  }
  client.got_at = now();
  ++counts_.got[static_cast<size_t>((now() - client.wanted_since) / kBinMs)];
}

void Herd::Handle(const Event& event) {
  Client& client = clients_[event.client];
  const Kind kind = event.kind;
  switch (event.what) {
    case Event::What::kBegin:
      BeginClient(client);
      break;
    case Event::What::kPauseEnds:
      rules_.PauseEnded(client, event.number);
      break;
    case Event::What::kLinkArrives:
      ArriveAtLink(client);
      break;
    case Event::What::kLinkWorks:
      if (servers_[client.link].StateAt(now()) != ServerPlan::State::kServes) {
        rules_.LinkFails(client);  // it died while its answer was on the way
        break;
      }
      rules_.LinkWorks(client);
      if (scenario_.begin != Begin::kToken) {
        Got(client);
      }
      break;
    case Event::What::kLinkFails:
      rules_.LinkFails(client);
      break;
    case Event::What::kUpdateBegins:
      rules_.BeginUpdate(client);
      break;
    case Event::What::kArrives:
      ArriveAtUrl(client, event);
      break;
    case Event::What::kTimesOut:
      rules_.TimeOut(client, kind, event.number, event.url);
      break;
    case Event::What::kGood:
      rules_.End(client, kind, event.number, event.url, true);
      break;
    case Event::What::kBad:
      rules_.End(client, kind, event.number, event.url, false);
      break;
  }
}

void Herd::BeginClient(Client& client) {
  Want(client);
  if (scenario_.begin == Begin::kToken) {
    rules_.Fetch(client, /*force=*/true, /*by_defaults=*/false);
    return;
  }
  if (!scenario_.names.endpoints.empty()) {
    rules_.BeginUpdate(client);
  }
  rules_.Fetch(client, /*force=*/false, /*by_defaults=*/false);
  rules_.Connect(client);
}

void Herd::ArriveAtLink(Client& client) {
  CountArrival(client.link, now());
  const Server::Answer answer = servers_[client.link].Arrive(now());
  const Ms half = network_.RoundTrip() / 2;
  switch (answer.outcome) {
    case Outcome::kGood:
      ++counts_.answers[client.link];
      Add(static_cast<int64_t>(answer.leaves_ms) + half, client, Event::What::kLinkWorks);
      break;
    case Outcome::kBad:
      Add(static_cast<int64_t>(answer.leaves_ms) + half, client, Event::What::kLinkFails);
      break;
    case Outcome::kRefused:
      Add(now() + half, client, Event::What::kLinkFails);
      break;
    case Outcome::kSilent:
      Add(now() + scenario_.link_time_out_ms, client, Event::What::kLinkFails);
      break;
  }
}

void Herd::ArriveAtUrl(Client& client, const Event& event) {
  const Kind kind = event.kind;
  CountArrival(event.server, now());
  const Server::Answer answer = servers_[event.server].Arrive(now());
  const Ms half = network_.RoundTrip() / 2;
  const Ms gives_up = now() - half + kHeadTimeOutMs;
  int64_t ends = now() + half;
  bool good = false;
  switch (answer.outcome) {
    case Outcome::kGood:
      ++counts_.answers[event.server];
      ends = static_cast<int64_t>(std::ceil(answer.leaves_ms)) + half;
      good = ends <= gives_up;
      break;
    case Outcome::kBad:
      ends = static_cast<int64_t>(std::ceil(answer.leaves_ms)) + half;
      break;
    case Outcome::kRefused:
      break;
    case Outcome::kSilent:
      ends = now() - half + kConnectTimeOutMs;
      break;
  }
  Add(std::min<int64_t>(ends, answer.outcome == Outcome::kSilent ? ends : gives_up), client,
      good ? Event::What::kGood : Event::What::kBad, event.number, kind, event.url);
}

}  // namespace herd
