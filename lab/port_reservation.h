#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <cstddef>
#include <vector>

#include "lab/port.h"
#include "lab/scenario.h"

namespace lab {

// Reserves the ports of the servers, in their order. Nothing listens on them yet.
// Errors: ScenarioError if one is taken.
std::vector<LoopbackPort> ReservePorts(boost::asio::io_context& io,
                                       const std::vector<Server>& servers);

// Makes the error that names a port that is taken.
ScenarioError PortTaken(const Server& server, size_t index,
                        const boost::system::system_error& error);

}  // namespace lab
