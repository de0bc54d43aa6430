#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <list>
#include <string>
#include <thread>

#include "lab/port.h"
#include "tests/support/own_network.h"

// Stands for a loopback server on all addresses of the network in which it is made, and lets all
// that the server sends take its time. Both ends of a connection stay open as long as it lives.
class Relay {
 public:
  Relay(int server_port, std::chrono::milliseconds delay)
      : server_port_(server_port), delay_(delay), listener_(BindLoopback(SOCK_STREAM, 0)) {
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
  // What the system has taken over for clients, whether or not it has reached them.
  [[nodiscard]] size_t sent_back() const { return sent_back_; }

 private:
  void Accept() {
    for (int client = 0; (client = accept(listener_.get(), nullptr, nullptr)) >= 0;) {
      const int server = socket(AF_INET, SOCK_STREAM, 0);
      const sockaddr_in address{
          AF_INET, htons(static_cast<uint16_t>(server_port_)), {htonl(INADDR_LOOPBACK)}, {}};
      connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address);
      ends_.emplace_back(client);
      ends_.emplace_back(server);
      carriers_.emplace_back([=, this] { Carry(client, server, false); });
      carriers_.emplace_back([=, this] { Carry(server, client, true); });
    }
  }
  void Carry(int from, int to, bool is_back) {
    std::string block(65536, '\0');
    while (recv(from, block.data(), 1, MSG_PEEK) > 0) {
      std::this_thread::sleep_for(is_back ? delay_ : std::chrono::milliseconds(0));
      const ssize_t count = recv(from, block.data(), block.size(), 0);
      sent_back_ += is_back && count > 0 ? static_cast<size_t>(count) : 0;
      send(to, block.data(), static_cast<size_t>(count > 0 ? count : 0), MSG_NOSIGNAL);
    }
    shutdown(to, SHUT_WR);
  }

  const int server_port_;
  const std::chrono::milliseconds delay_;
  const lab::Descriptor listener_;
  std::atomic<size_t> sent_back_{0};
  std::list<lab::Descriptor> ends_;
  std::list<std::jthread> carriers_;
  std::thread accepting_;  // alone changes the lists
};
