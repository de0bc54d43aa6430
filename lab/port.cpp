#include "lab/port.h"

#include <boost/system/error_code.hpp>
#include <chrono>
#include <cstdint>
#include <utility>

#include "lab/platform/sockets.h"

namespace lab {

using boost::asio::ip::tcp;

namespace {

// A loopback connection completes within the connect call, however busy the machine is. One that
// hasn't was dropped, which can't happen to the first.
constexpr std::chrono::milliseconds kProbe{50};
constexpr std::chrono::milliseconds kFirstFiller{5000};
// The shortest queue takes one or two connections. This only bounds the loop.
constexpr int kMaxFillers = 64;

}  // namespace

LoopbackPort::LoopbackPort(boost::asio::io_context& io, const std::string& address, int number)
    : endpoint_(boost::asio::ip::make_address(address), static_cast<uint16_t>(number)),
      reservation_(io) {
  reservation_ = MakeBound();
  endpoint_ = reservation_.local_endpoint();
}

tcp::acceptor LoopbackPort::MakeBound() {
  tcp::acceptor bound(reservation_.get_executor());
  bound.assign(endpoint_.protocol(), MakeSocket(endpoint_.protocol()));
  // Lets the listener share the port with the reservation. The system never chooses a port that is
  // bound to the same address in this way.
  bound.set_option(tcp::acceptor::reuse_address(true));
  bound.bind(endpoint_);
  return bound;
}

tcp::acceptor LoopbackPort::Listen(int backlog) {
  tcp::acceptor listener = MakeBound();
  listener.listen(backlog);
  return listener;
}

QueueFillers LoopbackPort::FillQueue() const {
  QueueFillers fillers;
  while (fillers.sockets.size() < kMaxFillers) {
    tcp::socket filler(*fillers.io);
    filler.assign(endpoint_.protocol(), MakeSocket(endpoint_.protocol()));
    bool connected = false;
    filler.async_connect(
        endpoint_, [&connected](const boost::system::error_code& error) { connected = !error; });
    fillers.io->restart();
    fillers.io->run_for(fillers.sockets.empty() ? kFirstFiller : kProbe);
    if (!connected) {
      break;
    }
    fillers.sockets.push_back(std::move(filler));
  }
  return fillers;
}

}  // namespace lab
