#pragma once

#include <map>
#include <string>

// The headers of a request, by name; names that differ in case are different ones, as the map
// compares byte by byte. They go out in ascending order.
// Threads: one at a time.
// Owner:   the transfer whose request it is.
// Errors:  none.
class CHttpHeader {
 public:
  CHttpHeader() = default;
  virtual ~CHttpHeader();
  CHttpHeader(const CHttpHeader&) = delete;
  CHttpHeader& operator=(const CHttpHeader&) = delete;

  // The first value of a name stays. What could end its line early (CR, LF, NUL) isn't taken,
  // and neither is an empty name or value.
  void Add(const std::string& name, const std::string& value);

  // Fills in the defaults that are absent, and gives a line "name: value" CRLF for each header.
  std::string ToText();

 private:
  std::map<std::string, std::string> headers;
};
