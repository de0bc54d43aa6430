#pragma once

#include <string>
#include <vector>

#include "lab/scenario.h"

namespace lab {

// A behaviour as a connection plays it: bytes at times, and an end. Every fault above the
// connection level is a plan, so the connection needs to know nothing about HTTP answers.
struct Plan {
  struct Step {
    int delay_ms = 0;  // since the previous step was due
    std::string bytes;
  };
  enum class End {
    kNextRequest,
    kClose,  // everything sent arrives, then the connection ends
    kReset,
    kStay,
  };

  std::string gate;  // where it waits first; empty: nowhere
  std::vector<Step> steps;
  Step repeated;  // after the steps, without end; empty bytes: nothing is repeated
  End end = End::kNextRequest;
};

struct PlanInput {
  std::string method;
  std::string path;
  std::string query;
  bool keep_alive = true;  // as the request asks
  int number = 0;          // unique among the lab's requests
};

// Makes the plan of a behaviour that answers this request.
Plan MakePlan(const Behaviour& behaviour, const PlanInput& request);

}  // namespace lab
