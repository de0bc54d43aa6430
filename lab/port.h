#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <string>
#include <vector>

namespace lab {

// Owns a descriptor and closes it. Movable.
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

// Owns a loopback port while the object exists, whether a server listens on it or not. A bound
// socket that never listens reserves the number; connections to it are refused.
// Threads: one at a time.
// Errors:  std::system_error.
class LoopbackPort {
 public:
  // With the number 0 the system chooses.
  LoopbackPort(const std::string& address, int number);

  int number() const { return number_; }
  bool is_v6() const { return address_.ss_family == AF_INET6; }
  // Makes a listening, non-blocking socket. Requires: the previous one is closed.
  Descriptor Listen(int backlog) const;
  // Connects to the listener, which never accepts, until its queue is full. The system then drops
  // further attempts without an answer, while the result and the listener exist.
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
