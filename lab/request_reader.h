#pragma once

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstddef>
#include <optional>
#include <string>

#include "lab/request.h"

namespace lab {

// Parses the requests of one connection from its bytes.
// Threads: one.
// Owner:   the connection.
// Errors:  Next returns kMalformed for bytes that are no request.
class RequestReader {
 public:
  enum class Result { kIncomplete, kRequest, kMalformed };

  void Append(const char* data, size_t size) { inbox_.append(data, size); }
  // True if more bytes are waiting than any request may have.
  bool IsOverfull() const;
  // True if part of a request has been received.
  bool HasPart() const { return !inbox_.empty() || parser_.has_value(); }

  // Parses the next request. On kRequest, sets all fields of `request` that come from its bytes.
  Result Next(Request& request);
  // Whether the last request asks to keep the connection.
  bool keep_alive() const { return keep_alive_; }
  // Drops the bytes that form no request and returns them as a request's head.
  std::string TakeMalformed();

 private:
  void BeginParser(size_t head_bytes);
  void Finish(Request& request);

  std::string inbox_;  // received, not parsed yet
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
  std::string raw_head_;  // while `parser_` is set
  bool keep_alive_ = true;
};

}  // namespace lab
