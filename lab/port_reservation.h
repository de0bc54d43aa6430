#pragma once

#include <cstddef>
#include <system_error>
#include <vector>

#include "lab/port.h"
#include "lab/scenario.h"

namespace lab {

// Reserves the ports of the servers, in their order. Nothing listens on them yet.
// Errors: ScenarioError if one is taken.
std::vector<LoopbackPort> ReservePorts(const std::vector<Server>& servers);

// Makes the error that names a port that is taken.
ScenarioError PortTaken(const Server& server, size_t index, const std::system_error& error);

}  // namespace lab
