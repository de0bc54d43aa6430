#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "src/sturdy/config/environment_config.h"

namespace zo_sturdy {

struct LBSSettings;

// No transport could send a longer URL. A longer one is ignored, so that records and reports stay
// short.
inline constexpr size_t kMaxLbsUrlBytes = 2048;

// The values of an LBS document, from its member "common". Every member is optional. One of a wrong
// type counts as missing, except `msg_stat_enable`, which is false then. A missing text is empty.
// A plain value; the functions below keep no state, so any thread may call them.
struct LBSDocument {
  std::optional<std::vector<std::string>> link;  // usable addresses; set only for an array
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
  StatisticSettings statistics;  // the defaults where "report" lacks a value
};

// Reads a document. Returns nothing if the text isn't a JSON object or has no member "common". A
// "common" that isn't an object counts as an empty one.
std::optional<LBSDocument> ReadLBSDocument(const std::string& text);

// True if a body has all that a server must send: link servers, default servers and the next URL.
// A body longer than kMaxBodyBytes is incomplete.
bool IsCompleteLBSDocument(const std::string& body);

// Returns the string value of each element of a JSON array text, empty ones included. Returns none
// for any other text.
std::vector<std::string> ReadTextList(const std::string& json_text);

// Builds a document from the settings and the built-in values.
std::string BuildDefaultLBSDocument(const LBSSettings& settings);

}  // namespace zo_sturdy
