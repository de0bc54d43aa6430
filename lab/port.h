#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>
#include <vector>

namespace lab {

// A descriptor, closed at its end. Movable.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();

  int get() const { return fd_; }
  int Release();

 private:
  int fd_;
};

// A loopback port that stays ours for the object's life, whether somebody listens on it or not:
// a bound socket that never listens keeps the number, and connections to it are refused.
// Threads: one at a time.
// Errors:  std::system_error.
class LoopbackPort {
 public:
  // `number` 0: the system chooses.
  LoopbackPort(const std::string& address, int number);

  int number() const { return number_; }
  bool is_v6() const { return address_.ss_family == AF_INET6; }
  // A new listening socket on the port, not blocking. Requires: the one before is closed.
  Descriptor Listen(int backlog) const;
  // Makes connections of our own until the accept queue of the (never accepting) listener is full,
  // so that the system drops further attempts without an answer. The queue stays full as long as
  // the result and the listener live.
  std::vector<Descriptor> FillQueue() const;

 private:
  Descriptor MakeBound() const;
  Descriptor MakeSocket() const;
  const sockaddr* Address() const;
  socklen_t AddressSize() const;

  sockaddr_storage address_{};
  int number_ = 0;
  Descriptor reservation_;
};

}  // namespace lab
