#include "src/business/sturdy_lbs/msg_stat_info.h"

#include <algorithm>
#include <cstring>

#include "base/json/json.h"

namespace zo_sturdy {

namespace {

using zo_base::json11::Json;

// The record comes zeroed, so a NUL follows the text.
template <size_t N>
void CopyCut(const std::string& text, char (&field)[N]) {
  std::memcpy(field, text.data(), std::min(text.size(), N - 1));
}

}  // namespace

std::string MsgStatInfoText(const MsgStatInfo& info) {
  const Json::object record = {{"msg_stat_info_enable", info.enable ? "true" : "false"},
                               {"msg_stat_info_host", info.host},
                               {"msg_stat_info_api", info.api},
                               {"desc", info.desc}};
  return Json(Json::object{{"msg_stat_info", record}}).dump();
}

void ParseMsgStatInfoText(const std::string& text, MsgStatInfo& info) {
  std::string error;
  const Json parsed = Json::parse(text, error);
  const Json& record = parsed["msg_stat_info"];
  if (record.type() != Json::OBJECT) {
    return;
  }
  info.enable = record["msg_stat_info_enable"].string_value() == "true";
  info.host = record["msg_stat_info_host"].string_value();
  info.api = record["msg_stat_info_api"].string_value();
  info.desc = record["desc"].string_value();
}

_ZOSturdyMsgStatInfo MsgStatInfoRecord(const MsgStatInfo& info) {
  _ZOSturdyMsgStatInfo record{};
  record.enable = info.enable ? 1 : 0;
  CopyCut(info.host, record.host);
  CopyCut(info.api, record.api);
  CopyCut(info.desc, record.desc);
  return record;
}

}  // namespace zo_sturdy
