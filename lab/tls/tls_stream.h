#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <functional>
#include <string>

namespace lab {

// The TLS of one connection. Each operation ends by calling its handler on the io_context, with an
// error once the socket is closed.
// Threads: the thread of the io_context.
class TlsStream {
 public:
  using Done = std::function<void(boost::system::error_code)>;
  using Moved = std::function<void(boost::system::error_code, size_t size)>;

  virtual ~TlsStream() = default;
  virtual void Handshake(Done done) = 0;
  // The server name that the client sent in the handshake; "" if it sent none.
  virtual std::string ServerName() = 0;
  virtual void ReadSome(boost::asio::mutable_buffer buffer, Moved moved) = 0;
  // Writes all bytes.
  virtual void Write(boost::asio::const_buffer bytes, Moved moved) = 0;
  virtual void Shutdown(Done done) = 0;
};

}  // namespace lab
