#pragma once

#include <string>

#include "base/built_in_values.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// Says whether and where the client reports the messages that it receives. The service only passes
// the values on. A plain value; the functions below keep no state, so any thread may call them.
struct MsgStatInfo {
  bool enable = false;
  std::string host = kDefaultStatisticsHost;
  std::string api = "/statics/report/im/sdk/msgreceived";
  std::string desc = "online";
};

// The form of the record in the cache: one member "msg_stat_info" of four strings.
std::string MsgStatInfoText(const MsgStatInfo& info);

// Reads that form. Any other text leaves `info` unchanged. A missing string empties its field.
void ParseMsgStatInfoText(const std::string& text, MsgStatInfo& info);

// Returns the record that the client reads. Cuts texts that are too long.
_ZOSturdyMsgStatInfo MsgStatInfoRecord(const MsgStatInfo& info);

}  // namespace zo_sturdy
