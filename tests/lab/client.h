#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <string>

#include "lab/lab.h"

constexpr std::chrono::seconds kLimit{10};

// A TCP connection to a server of the lab, which sees its bytes. All calls end at a limit.
class RawClient {
 public:
  explicit RawClient(const lab::Lab& lab, const std::string& server = "it") {
    stream_.expires_after(kLimit);
    stream_.connect("127.0.0.1", std::to_string(lab.Port(server)));
  }

  void Send(const std::string& bytes) { stream_ << bytes << std::flush; }
  // Reads until `end` is the end of what has come. Otherwise tells how the connection ended by a
  // last "<closed>", "<reset>" or "<limit>".
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
