#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/log_reader/text_search.h"

namespace redactor {

inline constexpr std::string_view kRedacted = "[redacted]";

// Replaces secrets by "[redacted]" in any text: lines of the log, URLs, documents, cache files,
// and JSON inside JSON. Secrets are
//   - each value of a URL's query, and its fragment,
//   - the user information of a URL,
//   - the value of a member, header or line whose name ends with "appkey", "token", "password" and
//     the like,
//   - each key of the application that one of these has shown, wherever else it occurs as a word.
// Addresses, paths and the names of a query's values stay. JSON stays JSON.
//
// Threads: one.
// Owner:   anyone.
// Errors:  none; any bytes have a result. A text whose begin is lost can begin with the rest of a
//          secret, and a key can have blanks: RedactCut removes its first line too.
class Redactor {
 public:
  // Finds the keys of the application in a text. Redact then also removes them from texts that come
  // before it.
  void Learn(std::string_view text);

  // Also learns the keys of this text.
  std::string Redact(std::string_view text);
  std::string RedactCut(std::string_view text);
  void RedactAll(std::vector<std::string>& texts);

 private:
  void AddKeys(const std::vector<std::string>& keys);

  std::vector<log_reader::TextSearch> keys_;
};

}  // namespace redactor
