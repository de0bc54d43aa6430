#include "src/business/sturdy_lbs/lbs_response.h"

#include <utility>

#include "base/decimal.h"
#include "base/json/json.h"
#include "base/log/log.h"
#include "base/platform/file.h"
#include "src/business/sturdy_lbs/lbs_document.h"
#include "src/business/sturdy_lbs/lbs_settings.h"

namespace zo_sturdy {

using zo_base::json11::Json;

namespace {

constexpr const char* kFolder = "lbs/";
constexpr const char* kFile = "lbs.data";

// A document of the largest size can name a hundred thousand backups. Trying them all would take
// days and hold up every other fetch.
constexpr size_t kMaxLbsUrls = 64;

}  // namespace

bool LBSResponse::LoadCache() {
  const auto config = GetEnvironmentConfig();
  if (config == nullptr) {
    return false;
  }
  const std::string folder = config->data_path + kFolder;
  if (!zo_base::FolderExists(folder)) {
    zo_base::CreateFolders(folder);
  }
  return ReadCache(folder + kFile);
}

bool LBSResponse::ReadCache(const std::string& path) {
  store_.Load(path);
  return !Get(lbs_key::kResponse).empty() && !Get(lbs_key::kRootAddress).empty() &&
         !Get(lbs_key::kRuntimeAddress).empty();
}

bool LBSResponse::HasCacheFile() {
  const auto config = GetEnvironmentConfig();
  return config != nullptr && zo_base::FileSize(config->data_path + kFolder + kFile).has_value();
}

bool LBSResponse::CheckCache(const LBSSettings& settings) {
  const int wanted = settings.address_family.load();
  const int cached = CachedFamily();
  if (wanted != net::kIPFamilyAny && wanted != cached) {
    ZO_LOG(LV_APP) << "[lbs] Load lbs cache address family changed check fail cache :" << cached
                   << "  setting :" << wanted;
    return false;
  }
  return Get(lbs_key::kRootAddress) == settings.lbs_url;
}

bool LBSResponse::CheckResponse(const std::string& body) const {
  return IsCompleteLBSDocument(body);
}

std::vector<std::string> LBSResponse::GetFetchUrls() const {
  std::vector<std::string> urls = {Get(lbs_key::kRuntimeAddress)};
  for (std::string& backup : ReadTextList(Get(lbs_key::kBackupAddresses))) {
    if (urls.size() < kMaxLbsUrls && backup.size() <= kMaxLbsUrlBytes) {
      urls.push_back(std::move(backup));
    }
  }
  return urls;
}

void LBSResponse::ResetToDefault(const LBSSettings& settings, bool save) {
  const std::string document = BuildDefaultLBSDocument(settings);
  const int family = settings.address_family.load();
  store_.Clear();
  store_.Save();
  Set(lbs_key::kResponse, document);
  Set(lbs_key::kRootAddress, settings.lbs_url);
  Set(lbs_key::kRuntimeAddress, settings.lbs_url);
  Set(lbs_key::kFamily, std::to_string(family));
  if (save) {
    store_.Save();
  }
}

void LBSResponse::SetCore(const std::string& response, const std::string& root,
                          const std::string& family) {
  Set(lbs_key::kResponse, response);
  Set(lbs_key::kRootAddress, root);
  Set(lbs_key::kFamily, family);
}

void LBSResponse::SetBackupLBS(const std::vector<std::string>& urls) {
  Set(lbs_key::kBackupAddresses, Json(Json::array(urls.begin(), urls.end())).dump());
}

void LBSResponse::Set(const char* key, const std::string& value) {
  store_.Set(key, zo_base::ZOAny(value), zo_base::SVT::kString);
}

int LBSResponse::CachedFamily() const {
  bool present = false;
  store_.ForEach([&present](const std::string& key, const zo_base::KeyValueFile::Value&) {
    present = present || key == lbs_key::kFamily;
  });
  return present ? zo_base::LeadingDigits<int>(Get(lbs_key::kFamily)) : net::kIPFamilyV4;
}

}  // namespace zo_sturdy
