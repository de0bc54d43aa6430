#include "lab/port.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace lab {
namespace {

// A loopback connection completes within the connect call, however busy the machine is. One that
// hasn't was dropped, which can't happen to the first.
constexpr int kProbeMs = 50;
constexpr int kFirstFillerMs = 5000;
// The shortest queue takes one or two connections. This only bounds the loop.
constexpr int kMaxFillers = 64;

[[noreturn]] void ThrowErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

Descriptor::~Descriptor() {
  if (fd_ >= 0) {
    close(fd_);
  }
}

int Descriptor::Release() {
  return std::exchange(fd_, -1);
}

LoopbackPort::LoopbackPort(const std::string& address, int number) {
  sockaddr_in v4{};
  sockaddr_in6 v6{};
  const auto port = htons(static_cast<uint16_t>(number));
  if (inet_pton(AF_INET, address.c_str(), &v4.sin_addr) == 1) {
    v4.sin_family = AF_INET;
    v4.sin_port = port;
    std::memcpy(&address_, &v4, sizeof(v4));
  } else {
    inet_pton(AF_INET6, address.c_str(), &v6.sin6_addr);
    v6.sin6_family = AF_INET6;
    v6.sin6_port = port;
    std::memcpy(&address_, &v6, sizeof(v6));
  }
  reservation_ = MakeBound();
  socklen_t size = sizeof(address_);
  if (getsockname(reservation_.get(), reinterpret_cast<sockaddr*>(&address_), &size) != 0) {
    ThrowErrno("getsockname");
  }
  // The port is at the same offset in both forms.
  std::memcpy(&v4, &address_, sizeof(v4));
  number_ = ntohs(v4.sin_port);
}

const sockaddr* LoopbackPort::Address() const {
  return reinterpret_cast<const sockaddr*>(&address_);
}

socklen_t LoopbackPort::AddressSize() const {
  return is_v6() ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}

Descriptor LoopbackPort::MakeSocket() const {
  Descriptor fd(socket(address_.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (fd.get() < 0) {
    ThrowErrno("socket");
  }
  return fd;
}

Descriptor LoopbackPort::MakeBound() const {
  Descriptor fd = MakeSocket();
  const int on = 1;
  // Lets the listener share the port with the reservation. The system never chooses a port that is
  // bound to the same address in this way.
  if (setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
      bind(fd.get(), Address(), AddressSize()) != 0) {
    ThrowErrno("bind");
  }
  return fd;
}

Descriptor LoopbackPort::Listen(int backlog) const {
  Descriptor fd = MakeBound();
  if (listen(fd.get(), backlog) != 0) {
    ThrowErrno("listen");
  }
  return fd;
}

std::vector<Descriptor> LoopbackPort::FillQueue() const {
  std::vector<Descriptor> fillers;
  while (fillers.size() < kMaxFillers) {
    Descriptor fd = MakeSocket();
    if (connect(fd.get(), Address(), AddressSize()) != 0) {
      pollfd wait{fd.get(), POLLOUT, 0};
      const int limit_ms = fillers.empty() ? kFirstFillerMs : kProbeMs;
      if (errno != EINPROGRESS || poll(&wait, 1, limit_ms) == 0) {
        break;
      }
    }
    fillers.push_back(std::move(fd));
  }
  return fillers;
}

}  // namespace lab
