#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <string>

#include "lab/scenario.h"
#include "lab/tls/tls_stream.h"

namespace lab {

// The key and the certificate of an https server.
class TlsServer {
 public:
  virtual ~TlsServer() = default;
  virtual const std::string& certificate_pem() const = 0;
  // Makes the TLS of an accepted connection. The socket and the server outlive it.
  virtual std::unique_ptr<TlsStream> Wrap(boost::asio::ip::tcp::socket& socket) = 0;
};

// Whether this build has TLS.
bool CanServeHttps();

// Errors: std::runtime_error if no certificate can be made; ScenarioError if this build has no TLS.
std::unique_ptr<TlsServer> MakeTlsServer(const Server& server);

}  // namespace lab
