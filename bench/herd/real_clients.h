#pragma once

#include <string>

#include "bench/herd/herd.h"
#include "bench/herd/scenario.h"

namespace herd {

// Plays a scenario with as many processes of `program`, the example's client, against a lab on
// loopback, and returns the same counts as a simulated run. Ends once all are connected, or with
// the scenario's time.
//
// The scenario must be one whose clients begin connected and whose servers change at its begin
// only. LBS servers have one worker, and a whole number of answers per second. The list that the
// LBS servers give must begin with a server that works: only its connections count.
//
// Threads: the main one. The end of the thread kills the clients that are left.
// Errors:  std::runtime_error if the clients can't be started.
Counts PlayWithRealClients(const Scenario& scenario, const std::string& program);

}  // namespace herd
