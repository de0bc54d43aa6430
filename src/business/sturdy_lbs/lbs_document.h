#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

struct LBSSettings;

// What no transport could send counts as no URL, and isn't carried into records and reports.
inline constexpr size_t kMaxLbsUrlBytes = 2048;

// What an LBS document says, taken from its member "common". Every member is optional; one that
// has another type than it should counts as missing. Texts are empty where the document has none.
struct LBSDocument {
  std::optional<std::vector<std::string>> link;  // usable addresses; there only if it is an array
  bool has_link_default = false;
  std::optional<std::vector<std::string>> link_default;  // as `link`
  std::string lbs;                                       // the URL to ask next time
  std::vector<std::string> lbs_backup;                   // empty texts included
  std::string vltdl;
  std::string vltdls;  // JSON text
  std::string vlt;     // JSON text
  std::string name;
  std::string desc;
  std::optional<bool> msg_stat_enable;
  StatisticSettings statistics;  // the defaults where "report" has nothing else
};

// Reads a document. Nothing if the text is no JSON object or has no member "common"; a "common"
// that is no object counts as an empty one.
std::optional<LBSDocument> ReadLBSDocument(const std::string& text);

// Whether a body has all that a server must answer: link servers, default ones and the next URL.
// One that is longer than the bound of a body is as incomplete as a cut one.
bool IsCompleteLBSDocument(const std::string& body);

// The string values of the elements of a JSON array text, empty ones included. None for a text of
// another form.
std::vector<std::string> ReadTextList(const std::string& json_text);

// What a server would have sent that knows no more than the settings and the built-in values.
std::string BuildDefaultLBSDocument(const LBSSettings& settings);

}  // namespace zo_sturdy
