#pragma once

#include <string>

#include "fuzz/expect.h"
#include "tests/support/service_harness.h"

// The configuration, folder and requests of a service without a network. A target keeps it until
// the process ends, and may have two.
// Threads: the target's, next to the service's own.
class Environment : public ServiceHarness {
 public:
  void DropRequests() { TakeAll(); }

  // Judges and delivers an answer with status 200. Returns whether it was good.
  static bool Answer(const zo_sturdy::MultipleURLHttpRequest& request, const std::string& body) {
    constexpr int32_t kStatusOk = 200;
    return ServiceHarness::Answer(request, kStatusOk, body);
  }
};
