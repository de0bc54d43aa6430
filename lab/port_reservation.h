#pragma once

#include <cstddef>
#include <system_error>
#include <vector>

#include "lab/port.h"
#include "lab/scenario.h"

namespace lab {

// The ports of the servers, in their order. Nobody listens on them yet.
// Errors: ScenarioError for one that can't be had.
std::vector<LoopbackPort> ReservePorts(const std::vector<Server>& servers);

// The sentence about a port that can't be had.
ScenarioError PortTaken(const Server& server, size_t index, const std::system_error& error);

}  // namespace lab
