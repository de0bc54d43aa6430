#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <string>
#include <vector>

namespace lab {

// The connections that fill a listener's queue, on an io_context that nothing else runs.
struct QueueFillers {
  std::unique_ptr<boost::asio::io_context> io = std::make_unique<boost::asio::io_context>(1);
  std::vector<boost::asio::ip::tcp::socket> sockets;
};

// Owns a loopback port while the object exists, whether a server listens on it or not. A bound
// socket that never listens reserves the number; connections to it are refused.
// Threads: one at a time.
// Owner:   the caller, which keeps the io_context longer.
// Errors:  boost::system::system_error.
class LoopbackPort {
 public:
  // With the number 0 the system chooses.
  LoopbackPort(boost::asio::io_context& io, const std::string& address, int number);

  int number() const { return endpoint_.port(); }
  bool is_v6() const { return endpoint_.protocol() == boost::asio::ip::tcp::v6(); }
  // Makes a listener. Requires: the previous one is closed.
  boost::asio::ip::tcp::acceptor Listen(int backlog);
  // Connects to the listener, which never accepts, until its queue is full. The system then drops
  // further attempts without an answer, while the result and the listener exist.
  QueueFillers FillQueue() const;

 private:
  boost::asio::ip::tcp::acceptor MakeBound();

  boost::asio::ip::tcp::endpoint endpoint_;
  boost::asio::ip::tcp::acceptor reservation_;
};

}  // namespace lab
