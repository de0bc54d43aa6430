#include "lab/port_reservation.h"

#include <algorithm>
#include <utility>

namespace lab {
namespace {

// A number that is free on one address may be taken on another. The system then chooses again.
constexpr int kMaxAttempts = 100;

// Returns the index of the server that determines the port of this one.
size_t PortOwner(const std::vector<Server>& servers, size_t index) {
  if (servers[index].port_of.empty()) {
    return index;
  }
  const auto found = std::find_if(servers.begin(), servers.end(), [&](const Server& server) {
    return server.name == servers[index].port_of;
  });
  return static_cast<size_t>(found - servers.begin());
}

}  // namespace

std::vector<LoopbackPort> ReservePorts(boost::asio::io_context& io,
                                       const std::vector<Server>& servers) {
  // The ports of failed attempts stay reserved, so that the system doesn't choose them again.
  std::vector<std::vector<LoopbackPort>> failed_attempts;
  for (int attempt = 1;; ++attempt) {
    std::vector<LoopbackPort> ports;
    try {
      for (size_t i = 0; i < servers.size(); ++i) {
        const size_t owner = PortOwner(servers, i);
        ports.emplace_back(io, servers[i].address,
                           owner == i ? servers[i].port : ports[owner].number());
      }
      return ports;
    } catch (const boost::system::system_error& error) {
      const size_t failed = ports.size();
      const size_t owner = PortOwner(servers, failed);
      if (owner == failed || servers[owner].port != 0 || attempt == kMaxAttempts) {
        throw PortTaken(servers[failed], failed, error);
      }
    }
    failed_attempts.push_back(std::move(ports));
  }
}

ScenarioError PortTaken(const Server& server, size_t index,
                        const boost::system::system_error& error) {
  const std::string port =
      server.port_of.empty() ? std::to_string(server.port) : "of \"" + server.port_of + "\"";
  return ScenarioError("servers[" + std::to_string(index) + "]." +
                       (server.port_of.empty() ? "port" : "port_of") + ": cannot listen on " +
                       server.address + " port " + port + " (" + error.code().message() + ").");
}

}  // namespace lab
