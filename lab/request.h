#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lab {

// Name and value as they came. Only the blanks in front of a value are taken off, those behind a
// name or a value stay.
using HeaderField = std::pair<std::string, std::string>;

// One request as a server of the lab received it, byte for byte. A plain value.
struct Request {
  std::string server;  // name of the server in the scenario
  int64_t at_ms = 0;   // since the lab began, when the last byte had come
  int connection = 0;  // counts the accepted connections of the lab from 1
  std::string sni;     // server name of the TLS handshake, empty if none was sent
  std::string method;
  std::string target;  // path and query as sent
  std::string path;    // target before '?'
  std::string query;   // target behind '?'
  std::vector<HeaderField> headers;
  std::string raw_head;  // request line to the empty line, with both
  std::string body;
  bool malformed = false;  // refused with 400; raw_head has all that came, the rest is empty

  // The value of the first field of that name (case is ignored), or nullptr.
  const std::string* Header(std::string_view name) const;
  // The lines between request line and empty line as they came, without their line ends.
  std::vector<std::string> HeaderLines() const;
};

}  // namespace lab
