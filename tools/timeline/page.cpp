#include "tools/timeline/page.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/history/why_words.h"
#include "tools/timeline/headline.h"
#include "tools/timeline/page_data.h"
#include "tools/timeline/page_template.h"

namespace timeline {

namespace {

using Json = nlohmann::ordered_json;

// Returns the sentences of `why`, without the line that names the address.
Json Reasons(const history::History& history) {
  Json reasons = Json::array();
  std::istringstream text(history::WhyWords(history).Last());
  std::string line;
  std::getline(text, line);
  while (std::getline(text, line)) {
    reasons.push_back(line.substr(std::min(line.find_first_not_of(' '), line.size())));
  }
  return reasons;
}

// Returns where the log is, and its time.
std::string About(const history::History& history, const std::string& log_path) {
  std::string first;
  std::string last;
  for (const log_reader::LogMessage& message : history.messages) {
    last = message.time.empty() ? last : message.time;
    first = first.empty() ? last : first;
  }
  return first.empty() ? log_path : log_path + ", " + first + " to " + last;
}

// Returns JSON that a script element may hold: "<" occurs in its strings only, and the escape
// of it there keeps "</script" from ending the element and "<!--" from hiding what follows.
std::string ForScriptElement(const Json& json) {
  const std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    if (c == '<') {
      escaped += "\\u003c";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

}  // namespace

std::string MakePage(const history::History& history, const std::string& log_path) {
  Json data = {{"about", About(history, log_path)},
               {"headline", Headline(history)},
               {"reasons", Reasons(history)}};
  data.update(PageData(history));
  return std::string(PageHead()) + ForScriptElement(data) + std::string(PageTail());
}

}  // namespace timeline
