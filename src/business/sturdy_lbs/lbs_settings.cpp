#include "src/business/sturdy_lbs/lbs_settings.h"

#include <cstdint>
#include <string>
#include <utility>

#include "base/log/log.h"
#include "net/url.h"
#include "src/sturdy/config/record_fields.h"

namespace zo_sturdy {

namespace {

constexpr int32_t kFamilyCount = 3;

bool Fits(const std::string& text) {
  return !text.empty() && text.size() <= kMaxAddressBytes;
}

using IsUsable = bool (*)(const std::string& text);

template <size_t N>
void TakeIf(IsUsable is_usable, const char (&field)[N], std::string& value) {
  std::string text = FieldText(field);
  if (is_usable(text)) {
    value = std::move(text);
  }
}

template <size_t Count, size_t N>
std::vector<std::string> TextsThat(IsUsable is_usable, const char (&fields)[Count][N]) {
  std::vector<std::string> texts;
  for (const auto& field : fields) {
    std::string text = FieldText(field);
    if (is_usable(text)) {
      texts.push_back(std::move(text));
    }
  }
  return texts;
}

std::vector<std::string> DefaultLinks(const LBSSettings& settings, net::AddressFamily family) {
  std::vector<std::string> links;
  const bool v4 = family == net::kIPFamilyAny || family == net::kIPFamilyV4;
  const bool v6 = family == net::kIPFamilyAny || family == net::kIPFamilyV6;
  if (v4 && !settings.default_link_v4.empty()) {
    links.push_back(settings.default_link_v4);
  }
  if (v6 && !settings.default_link_v6.empty()) {
    links.push_back(settings.default_link_v6);
  }
  return links;
}

// Returns "2 a b".
std::string Listed(const std::vector<std::string>& texts) {
  std::string list = std::to_string(texts.size());
  for (const std::string& text : texts) {
    list.append(" ").append(text);
  }
  return list;
}

}  // namespace

bool IsUsableAddress(const std::string& text) {
  const auto port = url::GetURLPort("http://" + text);
  return Fits(text) && port >= 0 && port <= kMaxPort;
}

void ApplyLBSSettings(const _ZOSturdyLBSSettings& record, LBSSettings& settings) {
  if (!FieldFlag(record.enable)) {
    return;
  }
  settings.enable = true;
  TakeIf(Fits, record.lbs_url, settings.lbs_url);
  const int32_t family = FieldFamily(record.address_family);
  if (family < kFamilyCount) {
    settings.address_family = static_cast<net::AddressFamily>(family);
  }
  settings.lbs_backup_urls = TextsThat(Fits, record.lbs_backup_urls);
  TakeIf(IsUsableAddress, record.default_link_v4, settings.default_link_v4);
  TakeIf(IsUsableAddress, record.default_link_v6, settings.default_link_v6);
  settings.default_link_list = TextsThat(IsUsableAddress, record.default_link_list);
  if (settings.default_link_v6.empty()) {
    settings.default_link_v6 = settings.default_link_v4;
  }
  if (settings.default_link_list.empty()) {
    settings.default_link_list = DefaultLinks(settings, settings.address_family);
  }
}

void LogSettings(const LBSSettings& settings) {
  ZO_LOG(LV_APP) << "[lbs] Start enable:" << settings.enable
                 << " address_family:" << settings.address_family.load()
                 << " lbs_url:" << settings.lbs_url
                 << " default_link_v4:" << settings.default_link_v4
                 << " default_link_v6:" << settings.default_link_v6
                 << " backup_urls:" << Listed(settings.lbs_backup_urls)
                 << " default_link_list:" << Listed(settings.default_link_list);
}

}  // namespace zo_sturdy
