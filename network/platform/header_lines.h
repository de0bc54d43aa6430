#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The header lines of a request before they go out, and those of an answer.
namespace KRBASE::network::platform {

// Request headers in the order in which they go out. Names are compared without case.
// Blanks round a name are dropped, since a server must refuse them, and a leading one would make
// the line a part of the line before. Values stay as they are, leading blanks included. What
// could end its line early (CR, LF, NUL) isn't taken, and neither are the names that frame a
// message (Content-Length, Transfer-Encoding, Expect), which are the transport's own.
// Threads: one at a time.
// Errors:  lines that aren't taken are dropped silently.
class HeaderLines {
 public:
  // Adds the lines "Name: value", each ended by CRLF. A line takes the place of one with its name.
  void AddOrReplace(std::string_view text);
  void Remove(std::string_view name);
  [[nodiscard]] bool Has(std::string_view name) const;

  struct Line {
    std::string name;
    std::string value;  // begins with the blank behind the colon, if there is one
  };
  [[nodiscard]] const std::vector<Line>& lines() const { return lines_; }

 private:
  std::vector<Line> lines_;
};

// Compares ASCII letters without case, as names are and some values.
bool SameName(std::string_view a, std::string_view b);

// The value of the first line with this name in the head of an answer, without the blanks round
// it; empty if there is none.
std::string HeaderValue(std::string_view head, std::string_view name);

}  // namespace KRBASE::network::platform
