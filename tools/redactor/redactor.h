#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/log_reader/text_search.h"
#include "tools/redactor/hide_secrets.h"

namespace redactor {

// Replaces secrets by "[redacted]" in any text: messages of the log, URLs, documents, cache files,
// and JSON inside JSON. Secrets are
//   - each value of a URL's query, and its fragment,
//   - the user information of a URL or an address,
//   - the value of a member, a header or a form whose name ends with "appkey", "token", "password"
//     and the like,
//   - each key of the application that has been learned, wherever it occurs as a word.
// Addresses, paths and the names of a query's values stay, but not a name that is alone: it can be
// a value that ends in '='. JSON stays JSON. A URL can have blanks and quotes, so its last value
// reaches to the end of the line or of the JSON string, or to what the log writes after a URL.
//
// Threads: one.
// Owner:   anyone.
// Errors:  none; any bytes have a result. A text whose begin is lost can begin with the rest of a
//          secret, and a key can have blanks: RedactCut removes its first line too.
class Redactor {
 public:
  // Learns the keys of the application from the text of a message of the log, without its prefix.
  // Takes none from a message that can show a document: its values can be words that the log has
  // everywhere.
  void Learn(std::string_view message);

  [[nodiscard]] std::string Redact(std::string_view text) const;
  [[nodiscard]] std::string RedactCut(std::string_view text) const;
  void RedactAll(std::vector<std::string>& texts) const;

 private:
  void AddKey(const std::string& key);

  std::vector<log_reader::TextSearch> keys_;
};

}  // namespace redactor
