#pragma once

#include <string>

#include "fuzz/expect.h"
#include "tests/support/service_harness.h"

// The surroundings of a service, for the life of the process: none is destroyed, so a target may
// have two.
class Environment : public ServiceHarness {
 public:
  void DropRequests() { TakeAll(); }

  // Judges and delivers an answer with status 200. Returns whether it was good.
  static bool Answer(const zo_sturdy::MultipleURLHttpRequest& request, const std::string& body) {
    constexpr int32_t kStatusOk = 200;
    return ServiceHarness::Answer(request, kStatusOk, body);
  }
};
