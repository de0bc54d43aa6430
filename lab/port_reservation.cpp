#include "lab/port_reservation.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace lab {
namespace {

// A number that is free on one address may be taken on another; then the system is asked again.
constexpr int kMostAttempts = 100;

// The server whose own key says which port it is.
size_t Chooser(const std::vector<Server>& servers, size_t index) {
  if (servers[index].port_of.empty()) {
    return index;
  }
  const auto found = std::find_if(servers.begin(), servers.end(), [&](const Server& server) {
    return server.name == servers[index].port_of;
  });
  return static_cast<size_t>(found - servers.begin());
}

}  // namespace

std::vector<LoopbackPort> ReservePorts(const std::vector<Server>& servers) {
  std::vector<std::vector<LoopbackPort>> useless;  // kept, so that they don't come again
  for (int attempt = 1;; ++attempt) {
    std::vector<LoopbackPort> ports;
    try {
      for (size_t i = 0; i < servers.size(); ++i) {
        const size_t chooser = Chooser(servers, i);
        ports.emplace_back(servers[i].address,
                           chooser == i ? servers[i].port : ports[chooser].number());
      }
      return ports;
    } catch (const std::system_error& error) {
      const size_t failed = ports.size();
      const size_t chooser = Chooser(servers, failed);
      if (chooser == failed || servers[chooser].port != 0 || attempt == kMostAttempts) {
        throw PortTaken(servers[failed], failed, error);
      }
    }
    useless.push_back(std::move(ports));
  }
}

ScenarioError PortTaken(const Server& server, size_t index, const std::system_error& error) {
  const std::string port =
      server.port_of.empty() ? std::to_string(server.port) : "of \"" + server.port_of + "\"";
  return ScenarioError("servers[" + std::to_string(index) + "]." +
                       (server.port_of.empty() ? "port" : "port_of") + ": cannot listen on " +
                       server.address + " port " + port + " (" + error.code().message() + ").");
}

}  // namespace lab
