#pragma once

// Keeps threads out of libcurl and OpenSSL once the process has begun to exit.
//
// A host may return from main while transfers run. OpenSSL then frees its tables in an exit
// handler while a worker may be in a handshake. So the loading of libcurl, and each use of it that
// may enter OpenSSL, holds an ExitGateGuard.
// 1. Before the first guard, OpenSSL is set up (without its own exit handler, unless the host has
//    set it up already), and our exit handler is registered after it. Exit handlers run in reverse
//    order, so ours runs before OpenSSL's.
// 2. Our handler closes the gate and waits until no thread is inside.
// 3. A thread that reaches the closed gate sleeps until the process is gone, so that exiting
//    reports no failures. A static object's destructor may wait for such a thread, though: while
//    the client is being stopped, or once the exit has taken kExitGateSleepMs, the thread is
//    refused instead and its transfer fails.
//
// These take no guard, since they touch nothing that OpenSSL frees: name look-ups and the wait for
// sockets, which are long; waking that wait; reading a handle's figures; freeing a list.
namespace KRBASE::network::platform {

// Registers our exit handler again, so that it runs before the handlers registered so far.
// Call it inside the gate after loading code that may have registered handlers.
void ReregisterExitHandler();

// Counts its thread as inside while it exists, unless the gate refuses the thread.
// Requires: PrepareExitGate has returned. A thread holds one at a time: with two it could sleep
//           inside the gate.
// Threads:  any.
class ExitGateGuard {
 public:
  ExitGateGuard();
  ~ExitGateGuard();
  ExitGateGuard(const ExitGateGuard&) = delete;
  ExitGateGuard& operator=(const ExitGateGuard&) = delete;

  // False for a refused thread. It must neither drive a transfer nor free a handle of libcurl.
  explicit operator bool() const { return is_inside_; }

 private:
  const bool is_inside_;
};

}  // namespace KRBASE::network::platform
