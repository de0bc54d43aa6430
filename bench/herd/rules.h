#pragma once

#include <cstdint>
#include <optional>

#include "bench/herd/client.h"
#include "src/business/sturdy_lbs/count_timer_invoker.h"
#include "src/business/sturdy_lbs/host_chooser/host_chooser.h"
#include "src/sturdy/http_agent/http_dns/update_pause.h"

namespace herd {

// The numbers of a client. They aren't the library's own constants, so that the test that compares
// the two notices if one of them changes.
inline constexpr int32_t kDefaultsForFetch = 3;
inline constexpr Ms kPauseAfterDefaultsMs = 1200;
inline constexpr Ms kSilenceMs = 2000;

// Which fetched list ends a pause.
enum class WakeOn : uint8_t {
  kNewList,  // one that differs from the list before
  kAnyList,
  kNothing,
};

// How a client behaves between two attempts to connect.
struct Loop {
  uint32_t base_ms = 20000;  // the longest pause
  bool pause_each = false;   // pauses after each failure, not only after a default
  WakeOn wake_on = WakeOn::kNewList;
};

// The rules of one client: which link server it tries, when it asks for a list, and how a request
// goes from URL to URL. The place in a list, the count of defaults and the pauses of HTTP DNS are
// the library's own functions. Fail-over and the dropping of fetches repeat what the library does:
// its own classes keep timers, locks and texts, which don't fit into 64 bytes.
//
// Left out: the timer that fetches after the first default, which runs only inside the update
// callback; the old request that a change of the token leaves behind; the lifetime of known hosts.
//
// World carries out what the client decides:
//   Ms now()                                      the time
//   Loop loop()                                   how its clients behave
//   int LinkCount(const Client&)                  the length of the list that it holds
//   int UrlCount(const Client&, Kind)             the URLs of a request; 0 if it can't be sent
//   void TryLink(Client&, optional<size_t>)       connects to that place, or to the default; calls
//                                                 LinkWorks or LinkFails
//   int PlaceToHold(const Client&)                of the server that it is connected to; 0 if the
//                                                 list lacks it
//   void Send(Client&, Kind, int url)             sends the newest request of the kind to a URL;
//                                                 calls End
//   void StartTimeOut(Client&, Kind, int url)     calls TimeOut after kSilenceMs
//   void StartPause(Client&, Ms)                  calls PauseEnded
//   void StartUpdateAfter(Client&, int64_t ms)    calls BeginUpdate
//   bool NeedsHostQuery(const Client&)            the hosts of the URLs have names
//   bool Take(Client&)                            gives it the document of the answer; returns
//                                                 whether its list of link servers is another one
//   int64_t UpdateLifetimeMs()                    of the endpoints of HTTP DNS
//
// Threads: one at a time.
template <class World>
class Rules {
 public:
  explicit Rules(World& world) : world_(world) {}

  // Asks for an address, and tries it.
  void Connect(Client& client) {
    const std::optional<size_t> place =
        zo_sturdy::NextPlace(client.place, static_cast<size_t>(world_.LinkCount(client)));
    if (!place && zo_sturdy::ReachesCount(client.defaults, kDefaultsForFetch)) {
      client.defaults = 0;
      Fetch(client, /*force=*/false, /*by_defaults=*/true);
    }
    world_.TryLink(client, place);
  }

  void LinkWorks(Client& client) {
    client.connected = true;
    client.backoff.Reset();
    client.place = world_.PlaceToHold(client);
  }

  void LinkFails(Client& client) {
    const Loop loop = world_.loop();
    const uint32_t pause_ms =
        client.backoff.AfterFailure(loop.pause_each ? 0 : world_.LinkCount(client));
    if (pause_ms == 0) {
      Connect(client);
      return;
    }
    client.pausing = true;
    ++client.pause;
    world_.StartPause(client, static_cast<Ms>(pause_ms));
  }

  void PauseEnded(Client& client, uint16_t number) {
    if (client.pausing && number == client.pause) {
      client.pausing = false;
      Connect(client);
    }
  }

  // Asks for a list.
  void Fetch(Client& client, bool force, bool by_defaults) {
    if (!by_defaults) {
      client.defaults = 0;
    }
    if (by_defaults && world_.now() < client.defaults_paused_until) {
      return;
    }
    if (client.fetch.under_way && !force) {
      return;
    }
    client.by_defaults = by_defaults;
    client.stage = Stage::kFirstPass;
    Begin(client, Kind::kFetch);
  }

  // Asks for the endpoints of HTTP DNS.
  void BeginUpdate(Client& client) { Begin(client, Kind::kUpdate); }

  // The URL sent last has been silent for kSilenceMs.
  void TimeOut(Client& client, Kind kind, uint16_t number, int url) {
    Request& request = client.Of(kind);
    if (number != request.number || url + 1 != request.sent || !request.waiting) {
      return;
    }
    request.waiting = false;
    if (request.sent < world_.UrlCount(client, kind)) {
      SendNext(client, kind);
    }
  }

  // An answer, or the failure of a transfer.
  void End(Client& client, Kind kind, uint16_t number, int url, bool good) {
    Request& request = client.Of(kind);
    if (number != request.number) {
      return;
    }
    if (good) {
      Finish(client, kind, true);
      return;
    }
    --request.in_flight;
    request.waiting = request.waiting && url + 1 != request.sent;
    if (request.sent < world_.UrlCount(client, kind)) {
      if (!request.waiting) {
        SendNext(client, kind);
      }
    } else if (request.in_flight == 0) {
      Finish(client, kind, false);
    }
  }

 private:
  void Begin(Client& client, Kind kind) {
    Request& request = client.Of(kind);
    request = {.number = static_cast<uint16_t>(request.number + 1), .under_way = true};
    if (world_.UrlCount(client, kind) == 0) {
      Finish(client, kind, false);
      return;
    }
    SendNext(client, kind);
  }

  void SendNext(Client& client, Kind kind) {
    Request& request = client.Of(kind);
    const int url = request.sent++;
    ++request.in_flight;
    request.waiting = true;
    world_.Send(client, kind, url);
    world_.StartTimeOut(client, kind, url);
  }

  void Finish(Client& client, Kind kind, bool good) {
    Request& request = client.Of(kind);
    ++request.number;
    request.under_way = false;
    if (kind == Kind::kUpdate) {
      FinishUpdate(client, good);
    } else {
      FinishStage(client, good);
    }
  }

  void FinishUpdate(Client& client, bool good) {
    client.dns_failures = good ? 0 : client.dns_failures;
    world_.StartUpdateAfter(client, good ? world_.UpdateLifetimeMs()
                                         : zo_sturdy::PauseAfterFailure(client.dns_failures));
  }

  void FinishStage(Client& client, bool good) {
    switch (client.stage) {
      case Stage::kFirstPass:
        if (!good && world_.NeedsHostQuery(client)) {
          client.stage = client.hosts_known ? Stage::kSecondPass : Stage::kHostQuery;
          Begin(client, Kind::kFetch);
          return;
        }
        break;
      case Stage::kHostQuery:
        client.hosts_known = good;
        if (good) {
          client.stage = Stage::kSecondPass;
          Begin(client, Kind::kFetch);
          return;
        }
        break;
      case Stage::kSecondPass:
        break;
    }
    EndFetch(client, good);
  }

  void EndFetch(Client& client, bool good) {
    if (client.by_defaults) {
      client.defaults_paused_until = world_.now() + kPauseAfterDefaultsMs;
    }
    if (!good) {
      return;
    }
    const bool is_new = world_.Take(client);
    client.place = 0;
    const WakeOn wake_on = world_.loop().wake_on;
    if (!is_new && wake_on != WakeOn::kAnyList) {
      return;
    }
    client.backoff.Reset();
    if (client.pausing && wake_on != WakeOn::kNothing) {
      client.pausing = false;
      Connect(client);
    }
  }

  World& world_;
};

}  // namespace herd
