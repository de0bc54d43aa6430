#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <string>

#include "lab/lab.h"

constexpr std::chrono::seconds kLimit{10};

// A TCP connection that sees a server's bytes. All calls return at a limit.
class RawClient {
 public:
  explicit RawClient(const lab::Lab& lab, const std::string& server = "it") {
    stream_.expires_after(kLimit);
    stream_.connect("127.0.0.1", std::to_string(lab.Port(server)));
  }

  void Send(const std::string& bytes) { stream_ << bytes << std::flush; }
  // Reads until the bytes end with `end`. If that doesn't come, appends how the connection ended:
  // "<closed>", "<reset>" or "<limit>".
  std::string ReadTo(const std::string& end) {
    std::string all;
    for (char byte = 0; !all.ends_with(end);) {
      if (!stream_.get(byte)) {
        return all + (stream_.error() == boost::asio::error::eof                ? "<closed>"
                      : stream_.error() == boost::asio::error::connection_reset ? "<reset>"
                                                                                : "<limit>");
      }
      all += byte;
    }
    return all;
  }
  std::string ReadAll() { return ReadTo("<never>"); }

 private:
  boost::asio::ip::tcp::iostream stream_;
};
