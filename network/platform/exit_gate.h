#pragma once

// Keeps threads out of libcurl and OpenSSL once the process has begun to end.
//
// A host may return from main while transfers run. OpenSSL then frees its tables in a handler of
// exit(), under the feet of a worker in a handshake. So every step of a transfer that enters
// libcurl stands between the two ends of an InsideTransferCode. The first use sets up OpenSSL
// (without a handler of its own, where it is ours to decide) and libcurl, and after them registers
// a handler of exit(). Handlers run in reverse, so ours is before OpenSSL's, whoever set it up: it
// shuts the gate, and waits until nobody is inside. Who comes to a shut gate sleeps until the
// process is gone.
//
// Outside are look-ups and the wait for sockets: they are long and touch nothing that is freed.
namespace KRBASE::network::platform {

// Sets up the libraries below and the gate, once; false if libcurl can't be set up, the next call
// tries again. Threads: any; the first call is made before there are workers, or a process that
// ends at once could overtake it. An unload of the library, which has no threads then, undoes it.
bool PrepareTransferCode();

// Threads: any. One thread never holds two, or it could sleep within the gate.
class InsideTransferCode {
 public:
  InsideTransferCode();
  ~InsideTransferCode();
  InsideTransferCode(const InsideTransferCode&) = delete;
  InsideTransferCode& operator=(const InsideTransferCode&) = delete;
};

}  // namespace KRBASE::network::platform
