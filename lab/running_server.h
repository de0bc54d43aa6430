#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab/connection.h"
#include "lab/placeholders.h"
#include "lab/port.h"

namespace lab {

// One server of the lab: its port, its listener and its connections.
// Threads: the thread of the io_context, except construction and the getters.
// Owner:   the Lab, which destroys its io_context first.
// Errors:  the constructor and Listen throw a std::runtime_error.
class RunningServer {
 public:
  RunningServer(boost::asio::io_context& io, Server server, LoopbackPort port, Journal& journal,
                Gates& gates, Script& script, const std::function<void(const Request&)>& observer);
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;

  const std::string& name() const { return server_.name; }
  int port() const { return port_->number(); }
  std::string HostPort() const;
  std::string Url() const { return (server_.https ? "https://" : "http://") + HostPort(); }
  Endpoint AsEndpoint() const;
  std::string certificate_pem() const;

  void Listen();
  void Stop();
  // Destroys the port, the listener and the timer. The io_context drops the connections when it is
  // destroyed. Requires: it doesn't run.
  void Drop() {
    port_.reset();
    listener_.reset();
    retry_.reset();
  }

 private:
  void AcceptNext();
  void Take(boost::asio::ip::tcp::socket socket);
  void RetryAccept();

  boost::asio::io_context& io_;
  const Server server_;
  std::optional<LoopbackPort> port_;
  ServerContext context_;
  std::shared_ptr<boost::asio::ip::tcp::acceptor>
      listener_;  // null while the server doesn't listen
  std::unique_ptr<boost::asio::steady_timer> retry_;
  std::optional<QueueFillers> fillers_;  // keep the accept queue full
  std::vector<std::weak_ptr<Connection>> connections_;
};

}  // namespace lab
