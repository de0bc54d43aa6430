#pragma once

// Keeps threads out of libcurl and OpenSSL once the process has begun to end.
//
// A host may return from main while transfers run. OpenSSL then frees its tables in a handler of
// exit(), under the feet of a worker in a handshake. So every step of a transfer that enters
// libcurl, and the loading of it, stands between the two ends of an ExitGateGuard. Before the
// first one OpenSSL is set up (without a handler of its own, where it is ours to decide), and after
// it a handler of exit() is registered. Handlers run in reverse, so ours is before OpenSSL's,
// whoever set it up: it shuts the gate, and waits until nobody is inside. Who comes to a shut gate
// sleeps until the process is gone, so that the end causes no failures that a host would be told
// of. But the destructor of a static object may wait for a transfer's outcome: it stops the client,
// or joins a thread that waits for an answer. So who comes is turned away, and the transfer fails,
// while the client is being stopped, and once a process has taken kExitGateSleepMs to end.
//
// Outside are look-ups and the wait for sockets: they are long and touch nothing that is freed.
namespace KRBASE::network::platform {

// Puts the gate in its place, once. Throws std::runtime_error if the system has no room for the
// handler; the next call tries again.
// Threads: any; the first call is made before there are workers, or a process that ends at once
// could overtake it. An unload of the library, which has no threads then, undoes it.
void PrepareExitGate();

// Has the gate shut before whatever else is to happen at the end of the process so far. For a
// thread inside that has loaded code which may have registered handlers.
void ReregisterExitHandler();

// Requires: PrepareExitGate has been called.
// Threads: any. One thread never holds two, or it could sleep within the gate.
class ExitGateGuard {
 public:
  ExitGateGuard();
  ~ExitGateGuard();
  ExitGateGuard(const ExitGateGuard&) = delete;
  ExitGateGuard& operator=(const ExitGateGuard&) = delete;

  // False for a thread that was turned away: it must neither enter libcurl nor give back what it
  // has from there.
  explicit operator bool() const { return is_inside_; }

 private:
  const bool is_inside_;
};

// While one lives, a shut gate turns away at once who comes and who sleeps there. For whoever waits
// for threads that may be among them.
// Threads: any.
class ScopedExitGateRefusal {
 public:
  ScopedExitGateRefusal();
  ~ScopedExitGateRefusal();
  ScopedExitGateRefusal(const ScopedExitGateRefusal&) = delete;
  ScopedExitGateRefusal& operator=(const ScopedExitGateRefusal&) = delete;
};

}  // namespace KRBASE::network::platform
