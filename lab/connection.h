#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <functional>
#include <memory>

#include "lab/journal.h"
#include "lab/scenario.h"
#include "lab/script.h"

namespace lab {

// What all connections of a server share. Outlives them.
struct ServerContext {
  const Server& server;
  Journal& journal;
  Script& script;
  std::function<void(const Request&)> observer;
  std::unique_ptr<boost::asio::ssl::context> tls;  // null for a plain server
};

// One accepted connection: reads requests, plays what the script says to each.
// Threads: that of the io_context.
// Owner:   its own pending operations; the io_context drops it at the latest.
// Errors:  none; whatever goes wrong ends the connection.
class Connection {
 public:
  virtual ~Connection() = default;
  virtual void Begin() = 0;
  virtual void ResetNow() = 0;

  static std::shared_ptr<Connection> Make(boost::asio::ip::tcp::socket socket,
                                          ServerContext& context);
};

}  // namespace lab
