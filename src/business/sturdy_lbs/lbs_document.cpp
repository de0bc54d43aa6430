#include "src/business/sturdy_lbs/lbs_document.h"

#include "base/json/json.h"
#include "base/thread/clock.h"
#include "net/url.h"
#include "src/business/sturdy_lbs/lbs_settings.h"

namespace zo_sturdy {

namespace {

using zo_base::json11::Json;

// Returns null if there is no such member of that type.
const Json* Find(const Json& object, const std::string& key, Json::Type type) {
  const Json& value = object[key];
  return value.type() == type ? &value : nullptr;
}

bool Has(const Json& object, const std::string& key) {
  return object.object_items().count(key) != 0;
}

std::string DumpedIfPresent(const Json& object, const std::string& key) {
  return Has(object, key) ? object[key].dump() : std::string();
}

std::vector<std::string> Texts(const Json& list) {
  std::vector<std::string> texts;
  for (const Json& element : list.array_items()) {
    texts.push_back(element.string_value());
  }
  return texts;
}

std::optional<std::vector<std::string>> UsableAddresses(const Json& list) {
  if (list.type() != Json::ARRAY) {
    return std::nullopt;
  }
  std::vector<std::string> addresses = Texts(list);
  std::erase_if(addresses, [](const std::string& text) { return !IsUsableAddress(text); });
  return addresses;
}

bool HasUsableAddress(const Json& list) {
  const auto addresses = UsableAddresses(list);
  return addresses && !addresses->empty();
}

void ReadThreshold(const Json& threshold, StatisticSettings& settings) {
  if (const Json* count = Find(threshold, "count", Json::NUMBER)) {
    settings.count = count->int_value();
  }
  if (const Json* time = Find(threshold, "time", Json::NUMBER)) {
    settings.time = time->int_value();
  }
  if (const Json* min_delay_s = Find(threshold, "min_delay", Json::NUMBER)) {
    settings.min_delay = zo_base::kMsPerSecond * min_delay_s->int_value();
  }
}

void ReadReport(const Json& report, StatisticSettings& settings) {
  const std::string& host = report["host"].string_value();
  const std::string endpoint = url::GetURLScheme(host).empty() ? "https://" + host : host;
  // Without a host the report, with the application's key, would go to the first part of its path.
  if (!url::GetURLHost(endpoint, false).empty()) {
    settings.host = endpoint;
  }
  const Json& api_error = report["apierror"];
  if (const Json* on = Find(api_error, "on", Json::BOOL)) {
    settings.enable = on->bool_value();
  }
  ReadThreshold(api_error["threshold"], settings);
}

}  // namespace

std::optional<LBSDocument> ReadLBSDocument(const std::string& text) {
  std::string error;
  const Json parsed = Json::parse(text, error);
  if (!Has(parsed, "common")) {
    return std::nullopt;
  }
  const Json& common = parsed["common"];
  LBSDocument document;
  document.link = UsableAddresses(common["link"]);
  document.has_link_default = Has(common, "link.default");
  document.link_default = UsableAddresses(common["link.default"]);
  document.lbs = common["lbs"].string_value();
  document.lbs_backup = Texts(common["lbs.backup"]);
  document.vltdl = common["vltdl"].string_value();
  document.vltdls = DumpedIfPresent(common, "vltdls");
  document.vlt = DumpedIfPresent(common, "vlt");
  document.name = common["name"].string_value();
  document.desc = common["desc"].string_value();
  if (Has(common, "msg.stat.enable")) {
    document.msg_stat_enable = common["msg.stat.enable"].bool_value();
  }
  ReadReport(common["report"], document.statistics);
  return document;
}

bool IsCompleteLBSDocument(const std::string& body) {
  if (body.size() > static_cast<size_t>(kMaxBodyBytes)) {
    return false;
  }
  std::string error;
  const Json parsed = Json::parse(body, error);
  const Json& common = parsed["common"];
  const size_t lbs_bytes = common["lbs"].string_value().size();
  return HasUsableAddress(common["link"]) && HasUsableAddress(common["link.default"]) &&
         lbs_bytes > 0 && lbs_bytes <= kMaxLbsUrlBytes;
}

std::vector<std::string> ReadTextList(const std::string& json_text) {
  std::string error;
  return Texts(Json::parse(json_text, error));
}

std::string BuildDefaultLBSDocument(const LBSSettings& settings) {
  const bool v6 = settings.address_family == net::kIPFamilyV6;
  const Json::array default_links = {v6 ? settings.default_link_v6 : settings.default_link_v4};
  const Json::array links(settings.default_link_list.begin(), settings.default_link_list.end());
  const Json::array backups(settings.lbs_backup_urls.begin(), settings.lbs_backup_urls.end());
  const Json::array vlt(std::begin(kDefaultVltUrls), std::end(kDefaultVltUrls));
  const Json::object common = {{"link", links},
                               {"link.default", default_links},
                               {"lbs", settings.lbs_url},
                               {"lbs.backup", backups},
                               {"vlt", vlt},
                               {"vltdl", kDefaultVltDLUrl},
                               {"vltdls", Json::array{kDefaultVltDLUrl}},
                               {"msg.stat.enable", false}};
  return Json(Json::object{{"common", common}}).dump();
}

}  // namespace zo_sturdy
