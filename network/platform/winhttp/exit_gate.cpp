#include "network/platform/exit_gate.h"

// An exiting process ends all other threads before it takes anything apart that WinHTTP uses, so
// the gate never closes.
namespace KRBASE::network::platform {

void PrepareExitGate() {}

bool IsExitGateClosed() {
  return false;
}

ScopedExitGateRefusal::ScopedExitGateRefusal() = default;

// Defaulted, it would have to be so in the header, for each system.
ScopedExitGateRefusal::~ScopedExitGateRefusal() {}

}  // namespace KRBASE::network::platform
