#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lab {

// Name and value as received. Only blanks before the value are removed; blanks after the name or
// the value stay.
using HeaderField = std::pair<std::string, std::string>;

// One request as a server of the lab received it, byte for byte. A plain value, for one
// thread at a time.
struct Request {
  std::string server;  // name of the server in the scenario
  int64_t at_ms = 0;   // arrival of the last byte, since the lab began
  int connection = 0;  // number of the accepted connection, from 1
  std::string sni;     // server name in the TLS handshake; empty without one
  std::string method;
  std::string target;  // path and query as sent
  std::string path;    // target before '?'
  std::string query;   // target after '?'
  std::vector<HeaderField> headers;
  std::string raw_head;  // request line to empty line, both included
  std::string body;
  bool malformed = false;  // answered with 400; only raw_head is set

  // Returns the value of the first field of this name (case is ignored), or nullptr.
  const std::string* Header(std::string_view name) const;
  // Returns the lines between request line and empty line as received, without their line ends.
  std::vector<std::string> HeaderLines() const;
};

}  // namespace lab
