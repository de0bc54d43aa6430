#pragma once

// Keeps threads out of the transport's library once the process has begun to exit, if that library
// can't bear them then.
namespace KRBASE::network::platform {

// Sets the gate up, once. Throws std::runtime_error if the system has no room for an exit handler;
// the next call tries again. Unloading this library undoes it; there are no threads by then.
// Requires: the first call returns before workers start. Otherwise a process that exits at once
//           could run its handlers before ours is registered.
// Threads:  any.
void PrepareExitGate();

// Returns whether the process has begun to exit.
// Threads:  any.
bool IsExitGateClosed();

// While one exists, a closed gate refuses arriving and sleeping threads at once. Hold it while
// joining threads that may be waiting there.
// Threads: any.
class ScopedExitGateRefusal {
 public:
  ScopedExitGateRefusal();
  ~ScopedExitGateRefusal();
  ScopedExitGateRefusal(const ScopedExitGateRefusal&) = delete;
  ScopedExitGateRefusal& operator=(const ScopedExitGateRefusal&) = delete;
};

}  // namespace KRBASE::network::platform
