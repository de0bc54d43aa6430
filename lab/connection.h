#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>

#include "lab/answer_queue.h"
#include "lab/gates.h"
#include "lab/journal.h"
#include "lab/scenario.h"
#include "lab/script.h"
#include "lab/tls/tls_server.h"

namespace lab {

// What all connections of a server share. It outlives them.
struct ServerContext {
  const Server& server;
  Journal& journal;
  Gates& gates;
  Script& script;
  std::function<void(const Request&)> observer;
  AnswerQueue queue;               // used by the thread of the io_context
  std::unique_ptr<TlsServer> tls;  // null for a plain server
};

// One accepted connection. Reads requests and plays the behaviour that the script has for each.
// Threads: the thread of the io_context.
// Owner:   its own pending operations. The io_context's end drops those that are left.
// Errors:  any error ends the connection.
class Connection {
 public:
  virtual ~Connection() = default;
  virtual void Begin() = 0;
  virtual void ResetNow() = 0;

  static std::shared_ptr<Connection> Make(boost::asio::ip::tcp::socket socket,
                                          ServerContext& context);
};

}  // namespace lab
