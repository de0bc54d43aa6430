#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KRBASE::network::platform {

// The headers of a request, in the order in which they are sent. Names are compared without case.
// Blanks around a name are dropped: a server must refuse them, and a leading one would continue
// the line before. Values are kept as they are, leading blanks included.
// Drops lines that hold CR, LF or NUL, and the names that frame a message (Content-Length,
// Transfer-Encoding, Expect), which the transport sets itself.
// Threads: one at a time.
// Owner:   the plan of a transfer.
// Errors:  none; a dropped line is not reported.
class HeaderLines {
 public:
  // Adds the lines "Name: value", each ended by CRLF. A line replaces an earlier one of its name.
  void AddOrReplace(std::string_view text);
  void Remove(std::string_view name);
  [[nodiscard]] bool Has(std::string_view name) const;

  struct Line {
    std::string name;
    std::string value;  // all that follows the colon, its blank included
  };
  [[nodiscard]] const std::vector<Line>& lines() const { return lines_; }

 private:
  std::vector<Line> lines_;
};

// Returns the value of the first line of this name in the head of an answer, without the blanks
// around it, or an empty text.
std::string HeaderValue(std::string_view head, std::string_view name);

// Returns whether a head, or a line of it, names a transfer coding that we never ask for: any but
// chunked.
bool HasUnrequestedCoding(std::string_view head);

}  // namespace KRBASE::network::platform
