#pragma once

#include <map>
#include <string>

// The headers of a request, by name. The map compares names byte by byte, so names that differ in
// case are different ones. Headers are sent in ascending order of name.
// Threads: one at a time.
// Owner:   the CWinHttp that sends them.
// Errors:  none; Add drops a bad header.
class CHttpHeader {
 public:
  CHttpHeader() = default;
  virtual ~CHttpHeader();
  CHttpHeader(const CHttpHeader&) = delete;
  CHttpHeader& operator=(const CHttpHeader&) = delete;

  // Keeps the first value of a name. Drops an empty name or value, and one that holds CR, LF or
  // NUL, which could end the line early.
  void Add(const std::string& name, const std::string& value);

  // Adds the defaults whose names are absent, then returns a line "name: value" CRLF per header.
  std::string ToText();

 private:
  std::map<std::string, std::string> headers;
};
