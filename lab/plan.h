#pragma once

#include <string>
#include <vector>

#include "lab/scenario.h"

namespace lab {

// A behaviour as what a connection has to do: bytes at times, and an end. Every fault above the
// connection level is a plan, so that the connection knows nothing of HTTP answers.
struct Plan {
  struct Step {
    int delay_ms = 0;  // since the step before was due
    std::string bytes;
  };
  enum class End {
    kNextRequest,
    kClose,  // in order: what was sent arrives, then the end
    kReset,
    kStay,
  };

  std::string gate;  // waits there first; empty: doesn't
  std::vector<Step> steps;
  Step repeated;  // behind the steps, without end; empty bytes: isn't there
  End end = End::kNextRequest;
};

struct PlanInput {
  std::string method;
  std::string path;
  std::string query;
  bool keep_alive = true;  // what the request asks for
  int number = 0;          // differs for each request of the lab
};

Plan MakePlan(const Behaviour& behaviour, const PlanInput& request);

}  // namespace lab
