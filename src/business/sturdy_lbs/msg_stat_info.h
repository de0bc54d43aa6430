#pragma once

#include <string>

#include "base/built_in_values.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// Whether and where the client is to report the messages that it receives. The service only hands
// the values on.
struct MsgStatInfo {
  bool enable = false;
  std::string host = kDefaultStatisticsHost;
  std::string api = "/statics/report/im/sdk/msgreceived";
  std::string desc = "online";
};

// The form of the record in the cache: one member "msg_stat_info" of four strings.
std::string MsgStatInfoText(const MsgStatInfo& info);

// Reads that form back. A text of another form leaves `info` as it is; a string that is missing
// in the right form empties its field.
void ParseMsgStatInfoText(const std::string& text, MsgStatInfo& info);

// The record that the client reads; texts that are too long are cut.
_ZOSturdyMsgStatInfo MsgStatInfoRecord(const MsgStatInfo& info);

}  // namespace zo_sturdy
