#pragma once

#include <map>
#include <optional>

#include "tools/history/line.h"
#include "tools/history/requests.h"

namespace history {

// Reads what the client did and got: settings, documents, answers, holds and changes.
class ClientLines {
 public:
  ClientLines(History& history, const Requests& requests)
      : history_(history), requests_(requests) {}

  // Call after Requests::Take with the same line.
  void Take(const Line& line);

 private:
  struct OfThread {
    Document document;  // what is known of the one that is being read

    int family = 0;
    std::optional<size_t> answer;  // the last line's
  };

  bool TakeDocument(const Line& line, OfThread& thread);
  bool TakeAnswer(const Line& line, OfThread& thread);
  void TakeCall(const Line& line);

  History& history_;
  const Requests& requests_;
  std::map<ThreadKey, OfThread> threads_;
  std::map<size_t, size_t> active_;  // the document of each run
};

}  // namespace history
