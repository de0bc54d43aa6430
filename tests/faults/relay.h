#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <list>
#include <string>
#include <thread>

#include "lab/port.h"
#include "tests/support/own_network.h"

// Forwards connections between a loopback server and all addresses of the network in which it is
// created. Both ends of a connection stay open as long as it lives.
// Threads: one accepts, two carry each connection. The methods are for the creator's.
class Relay {
 public:
  explicit Relay(int server_port)
      : server_port_(server_port), listener_(BindAllAddresses(SOCK_STREAM, 0)) {
    listen(listener_.get(), SOMAXCONN);
    accepting_ = std::thread([this] { Accept(); });
  }
  ~Relay() {
    shutdown(listener_.get(), SHUT_RDWR);
    accepting_.join();
    for (const lab::Descriptor& end : ends_) {
      shutdown(end.get(), SHUT_RDWR);
    }
  }

  [[nodiscard]] int port() const {
    sockaddr_in6 own{};
    socklen_t size = sizeof own;
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&own), &size);
    return ntohs(own.sin6_port);
  }

 private:
  void Accept() {
    for (int client = 0; (client = accept(listener_.get(), nullptr, nullptr)) >= 0;) {
      const int server = socket(AF_INET, SOCK_STREAM, 0);
      const sockaddr_in address{
          AF_INET, htons(static_cast<uint16_t>(server_port_)), {htonl(INADDR_LOOPBACK)}, {}};
      static_cast<void>(
          connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address));
      ends_.emplace_back(client);
      ends_.emplace_back(server);
      carriers_.emplace_back([=] { Carry(client, server); });
      carriers_.emplace_back([=] { Carry(server, client); });
    }
  }
  static void Carry(int from, int to) {
    std::string block(65536, '\0');
    for (ssize_t count = 0; (count = recv(from, block.data(), block.size(), 0)) > 0;) {
      send(to, block.data(), static_cast<size_t>(count), MSG_NOSIGNAL);
    }
    shutdown(to, SHUT_WR);
  }

  const int server_port_;
  const lab::Descriptor listener_;
  std::list<lab::Descriptor> ends_;
  std::list<std::jthread> carriers_;
  std::thread accepting_;  // alone changes the lists
};
