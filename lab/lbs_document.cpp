#include "lab/lbs_document.h"

#include <algorithm>

#include "lab/json.h"

namespace lab {

LbsDocument& LbsDocument::Link(const List& host_ports) {
  return Set("link", Json(host_ports).dump());
}

LbsDocument& LbsDocument::LinkDefault(const List& host_ports) {
  return Set("link.default", Json(host_ports).dump());
}

LbsDocument& LbsDocument::Lbs(const std::string& url) {
  return Set("lbs", Json(url).dump());
}

LbsDocument& LbsDocument::LbsBackup(const List& urls) {
  return Set("lbs.backup", Json(urls).dump());
}

LbsDocument& LbsDocument::Download(const std::string& address) {
  return Set("vltdl", Json(address).dump());
}

LbsDocument& LbsDocument::Name(const std::string& text) {
  return Set("name", Json(text).dump());
}

LbsDocument& LbsDocument::Desc(const std::string& text) {
  return Set("desc", Json(text).dump());
}

LbsDocument& LbsDocument::MsgStatEnable(bool on) {
  return Set("msg.stat.enable", on ? "true" : "false");
}

LbsDocument& LbsDocument::Report(const LbsReport& report) {
  Json threshold = Json::object();
  Json json = Json::object();
  const auto add = [](Json& to, const char* key, const auto& value) {
    if (value.has_value()) {
      to[key] = *value;
    }
  };
  add(threshold, "count", report.count);
  add(threshold, "time", report.time);
  add(threshold, "min_delay", report.min_delay_s);
  add(json, "host", report.host);
  add(json["apierror"], "on", report.on);
  json["apierror"]["threshold"] = threshold;
  return Set("report", json.dump());
}

LbsDocument& LbsDocument::Set(const std::string& key, std::string json_text) {
  const auto found = std::find_if(members_.begin(), members_.end(),
                                  [&](const auto& member) { return member.first == key; });
  if (found == members_.end()) {
    members_.emplace_back(key, std::move(json_text));
  } else {
    found->second = std::move(json_text);
  }
  return *this;
}

std::string LbsDocument::Text() const {
  std::string text = R"({"common":{)";
  for (const auto& [key, value] : members_) {
    text.append(text.back() == '{' ? "" : ",").append(Json(key).dump()).append(":").append(value);
  }
  return text + "}}";
}

}  // namespace lab
