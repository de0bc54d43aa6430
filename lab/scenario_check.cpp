#include "lab/scenario_check.h"

#include <algorithm>
#include <boost/asio/ip/address_v4.hpp>
#include <cctype>
#include <climits>
#include <string_view>

namespace lab {
namespace {

constexpr int kMostPerS = 1000000;
constexpr int kMostWaiting = 1000000;

[[noreturn]] void Fail(const std::string& key, const std::string& what) {
  throw ScenarioError(key + ": " + what);
}

void CheckRange(const std::string& key, int value, int low, int high) {
  if (value < low || value > high) {
    Fail(key, "must be a number from " + std::to_string(low) + " to " + std::to_string(high) +
                  ", not " + std::to_string(value) + ".");
  }
}

bool IsLoopback(const std::string& address) {
  boost::system::error_code error;
  const auto v4 = boost::asio::ip::make_address_v4(address, error);
  return error ? address == "::1" : v4.is_loopback();
}

bool IsToken(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return isalnum(c) != 0 ||
           std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string_view::npos;
  });
}

bool IsOneLine(const std::string& text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

void CheckHead(const Behaviour& b, const std::string& key) {
  CheckRange(key + ".status", b.status, 100, 999);
  const bool redirects =
      b.kind == Behaviour::Kind::kRedirect || b.kind == Behaviour::Kind::kRedirectLoop;
  if (redirects && b.status / 100 != 3) {
    Fail(key + ".status", "must be a number from 300 to 399 for a redirect.");
  }
  if (b.kind == Behaviour::Kind::kRedirect && b.location.empty()) {
    Fail(key + ".location", "is missing.");
  }
  if (!IsOneLine(b.reason)) {
    Fail(key + ".reason", "must be one line.");
  }
  if (!IsOneLine(b.location)) {
    Fail(key + ".location", "must be one line.");
  }
  for (const auto& [name, value] : b.headers) {
    if (!IsToken(name)) {
      Fail(key + ".headers", "\"" + name + "\" is not a name of a header field.");
    }
    if (!IsOneLine(value)) {
      Fail(key + ".headers." + name, "must be one line.");
    }
  }
}

void CheckBody(const Behaviour& b, const std::string& key) {
  const bool no_body = b.status < 200 || b.status == 204 || b.status == 304;
  if (no_body && (!b.body.empty() || b.hosts.has_value() || b.missing_bytes != 0)) {
    Fail(key + "." + (b.hosts.has_value() ? "hosts" : b.body_key),
         "must be empty with the status " + std::to_string(b.status) + ".");
  }
  if (b.missing_bytes > 0 && b.framing == Framing::kUntilClose) {
    Fail(key + ".missing_bytes", "needs a framing that announces the length, not \"close\".");
  }
  if (b.kind == Behaviour::Kind::kEndless && b.framing == Framing::kLength) {
    Fail(key + ".framing", "must be \"chunked\" or \"close\" for an endless body.");
  }
  if (b.kind == Behaviour::Kind::kEndless && b.body.empty()) {
    Fail(key + ".body", "must not be empty, since it is repeated.");
  }
}

void CheckBehaviour(const Behaviour& b, const std::string& key,
                    const std::vector<Endpoint>& endpoints) {
  CheckRange(key + ".delay_ms", b.delay_ms, 0, INT_MAX);
  CheckRange(key + ".head_drip_ms", b.head_drip_ms, 0, INT_MAX);
  CheckRange(key + ".pieces", b.body_pieces, 1, 100000);
  CheckRange(key + ".over_ms", b.body_over_ms, 0, INT_MAX);
  CheckRange(key + ".missing_bytes", b.missing_bytes, 0, INT_MAX);
  CheckRange(key + ".piece_every_ms", b.piece_every_ms, 0, INT_MAX);
  switch (b.kind) {
    case Behaviour::Kind::kAnswer:
    case Behaviour::Kind::kEndless:
    case Behaviour::Kind::kRedirect:
    case Behaviour::Kind::kRedirectLoop:
      CheckHead(b, key);
      CheckBody(b, key);
      break;
    case Behaviour::Kind::kSilent:
    case Behaviour::Kind::kClose:
    case Behaviour::Kind::kReset:
    case Behaviour::Kind::kGarbage:
      break;
  }
  ExpandAll(b, key, endpoints);
}

void CheckRoute(const Server& server, size_t index, const std::string& key,
                const std::vector<Endpoint>& endpoints) {
  const Route& route = server.routes[index];
  if (route.path.empty() || route.path[0] != '/' || route.path.find('?') != std::string::npos) {
    Fail(key + ".path", "must begin with \"/\" and have no query, unlike \"" + route.path + "\".");
  }
  for (size_t i = 0; i < index; ++i) {
    if (server.routes[i].path == route.path) {
      Fail(key + ".path", "\"" + route.path + "\" is already a route of this server.");
    }
  }
  CheckBehaviours(route.behaviours, key + ".behaviours", endpoints);
}

void CheckPortOf(const std::vector<Server>& servers, size_t index, const std::string& key) {
  const Server& server = servers[index];
  if (server.port != 0) {
    Fail(key + ".port_of", "must not be given with \"port\".");
  }
  bool found = false;
  for (size_t i = 0; i < index; ++i) {
    const bool is_owner = servers[i].name == server.port_of && servers[i].port_of.empty();
    found = found || is_owner;
    if (servers[i].address == server.address &&
        (is_owner || servers[i].port_of == server.port_of)) {
      Fail(key + ".address", "\"" + server.address + "\" is already taken at the port of \"" +
                                 server.port_of + "\".");
    }
  }
  if (!found) {
    Fail(key + ".port_of",
         "must name an earlier server with its own port, unlike \"" + server.port_of + "\".");
  }
}

void CheckServer(const Server& server, const std::string& key,
                 const std::vector<Endpoint>& endpoints) {
  if (!IsLoopback(server.address)) {
    Fail(key + ".address", "must be in 127.0.0.0/8 or ::1, not \"" + server.address +
                               "\", since the lab's traffic stays on loopback.");
  }
  CheckRange(key + ".port", server.port, 0, 65535);
  if (server.listening == Listening::kNoHandshake && !server.https) {
    Fail(key + ".listening", "\"no_handshake\" needs the scheme \"https\".");
  }
  CheckRange(key + ".answers_per_s", server.answers_per_s, 0, kMostPerS);
  CheckRange(key + ".queue", server.queue, 0, kMostWaiting);
  if (server.queue > 0 && server.answers_per_s == 0) {
    Fail(key + ".queue", "needs \"answers_per_s\".");
  }
  for (size_t i = 0; i < server.routes.size(); ++i) {
    CheckRoute(server, i, key + ".routes[" + std::to_string(i) + "]", endpoints);
  }
}

}  // namespace

void CheckBehaviours(const std::vector<Behaviour>& behaviours, const std::string& key,
                     const std::vector<Endpoint>& endpoints) {
  if (behaviours.empty()) {
    Fail(key, "must have at least one entry.");
  }
  for (size_t i = 0; i < behaviours.size(); ++i) {
    CheckBehaviour(behaviours[i], key + "[" + std::to_string(i) + "]", endpoints);
  }
}

void Scenario::Check() const {
  if (servers.empty()) {
    Fail("servers", "must have at least one entry.");
  }
  // The names first, since any server may name any other.
  std::vector<Endpoint> endpoints;
  for (size_t i = 0; i < servers.size(); ++i) {
    const std::string& name = servers[i].name;
    const std::string key = "servers[" + std::to_string(i) + "].name";
    if (name.empty() || name.find_first_of(":}") != std::string::npos) {
      Fail(key, "must be a string without \":\" and \"}\".");
    }
    for (const Endpoint& earlier : endpoints) {
      if (earlier.name == name) {
        Fail(key, "\"" + name + "\" is already taken.");
      }
    }
    endpoints.push_back({name, "", "", "", 0, false});
  }
  // Then all that a server does.
  for (size_t i = 0; i < servers.size(); ++i) {
    const std::string key = "servers[" + std::to_string(i) + "]";
    CheckServer(servers[i], key, endpoints);
    if (!servers[i].port_of.empty()) {
      CheckPortOf(servers, i, key);
    }
  }
}

}  // namespace lab
